"""q38.Preamp against the q38 program, and its checks of audio and settings."""

import pickle
import subprocess
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest

import q38
from conftest import q38_program, read_wav, render_with_program, test_signal, write_wav

RATE = 44100


@pytest.mark.parametrize("shape, dtype", [
    ((1000,), np.float32), ((1, 1000), np.float64), ((2, 1000), np.float32), ((2, 0), np.float32), ((0,), np.float64),
])
def test_accepts_mono_and_stereo_of_any_length(shape, dtype):
    out = q38.Preamp(seed=1)(np.full(shape, 0.1, dtype), RATE)
    assert out.shape == shape and out.dtype == np.float32
    assert np.all(np.isfinite(out))


@pytest.mark.parametrize("audio, rate, error, message", [
    (np.zeros((3, 100), np.float32), RATE, ValueError, "1 or 2 channels, not (3, 100)"),
    (np.zeros((100, 2), np.float32), RATE, ValueError, "pass audio.T"),
    (np.zeros((2, 2, 100), np.float32), RATE, ValueError, "(channels, samples)"),
    (np.zeros(100, np.int16), RATE, TypeError, "float32 or float64 array, not int16"),
    (np.zeros(100, np.float32), 1000, ValueError, "sample_rate 1000 is out of range (8000 to 384000 Hz)"),
    (np.zeros(100, np.float32), 44100.5, TypeError, "sample_rate takes a whole number"),
])
def test_refuses_other_audio_and_rates(audio, rate, error, message):
    with pytest.raises(error) as caught:
        q38.Preamp()(audio, rate)
    assert message in str(caught.value)


# Settings as keywords and as q38 render options, by their texts.
PROGRAM_CASES = [
    (1, {}),
    (2, {"input_gain": 60, "highpass": "80 + 300 Hz", "trim": -6.5}),
    (2, {"stereo_mode": "M/S", "link": "Linked", "input_gain1": 45, "high_tone1": 7.5, "low_tone2": -4}),
    (2, {"input_gain1": 70, "input_gain2": 20, "phase_reverse2": "Reversed", "eq": "Off"}),
    (1, {"input_gain": 52.25, "highpass": "300 Hz", "high_tone": -10, "low_tone": 10, "trim": 24}),
    (2, {"effect": "Off", "input_gain": 76}),
    (1, {"oversample": 1, "input_gain": 70}),
    (2, {"oversample": 4, "input_gain": 70, "highpass": "80 Hz"}),
]


@pytest.mark.parametrize("channels, settings", PROGRAM_CASES)
def test_equals_q38_render_bit_for_bit(tmp_path, channels, settings):
    audio = test_signal(channels, RATE // 2 + 7, seed=channels)  # ends in a partial block
    write_wav(tmp_path / "in.wav", audio, RATE)
    render_with_program(tmp_path / "in.wav", tmp_path / "out.wav", settings, seed=38)
    expected, rate = read_wav(tmp_path / "out.wav")
    assert rate == RATE

    by_keywords = q38.Preamp(seed=38, **settings)
    by_attributes = q38.Preamp(seed=38)
    for name, value in settings.items():
        setattr(by_attributes, name, value)
    for preamp in (by_keywords, by_attributes):
        out = preamp(audio if channels == 2 else audio[0], RATE)
        np.testing.assert_array_equal(out.reshape(expected.shape), expected)


def test_presets_and_damaged_samples_as_q38_render_takes_them(tmp_path):
    audio = test_signal(2, 9000)
    audio[0, 100] = np.nan
    audio[1, 5000:5003] = [np.inf, -np.inf, np.nan]
    write_wav(tmp_path / "in.wav", audio, RATE)
    (tmp_path / "mine.q38preset").write_text("input-gain = 61 dB\nlink = Linked\n")
    for index, (preset, settings) in enumerate([("ms-room-widening", {"trim1": -2}), ("Phone Line", {}),
                                                (tmp_path / "mine.q38preset", {"high_tone": 4})]):
        output = tmp_path / f"out{index}.wav"
        render_with_program(tmp_path / "in.wav", output, {"preset": preset, **settings}, seed=38)
        expected, _ = read_wav(output)
        np.testing.assert_array_equal(q38.Preamp(seed=38, preset=preset, **settings)(audio, RATE), expected)


def test_factory_presets_are_the_programs(tmp_path):
    listing = subprocess.run([q38_program(), "presets"], check=True, capture_output=True, text=True).stdout
    presets = q38.presets()
    assert len(presets) == listing.count("\n  ") - listing.count("\n   ")
    for preset in presets:
        assert f'  {preset.word} ("{preset.name}"' in listing and preset.purpose in listing
        as_file = tmp_path / f"{preset.word}.q38preset"
        as_file.write_text(subprocess.run([q38_program(), "presets", preset.word], check=True,
                                          capture_output=True, text=True).stdout)
        assert q38.load_preset(preset.word) == q38.load_preset(preset.name) == q38.load_preset(as_file)
    vocal = q38.load_preset("clean-vocal")
    assert (vocal["input_gain1"], vocal["highpass2"], vocal["trim1"]) == (30.0, "80 Hz", 0.0)


# A stream of reset=False calls is a plugin's output: the whole call's
# samples, the resamplers' delay later (none at 1x). 8x at 96 kHz runs at 4x.
@pytest.mark.parametrize("rate, oversample, latency", [(RATE, 1, 0), (RATE, 2, 77), (48000, 8, 89), (96000, 8, 86)])
def test_streaming_in_chunks_equals_one_call_the_latency_late(rate, oversample, latency):
    audio = test_signal(2, 9000)
    whole = q38.Preamp(seed=5, input_gain=60, oversample=oversample)(audio, rate)
    stream = q38.Preamp(seed=5, input_gain=60, oversample=oversample)
    assert stream.latency(rate) == latency
    edges = [0, 1, 32, 1000, 1031, 5128, 9000]
    chunks = np.concatenate([stream(audio[:, a:b], rate, reset=False) for a, b in zip(edges, edges[1:])], axis=1)
    np.testing.assert_array_equal(chunks[:, latency:], whole[:, :9000 - latency])


def test_reset_makes_calls_independent_and_a_new_rate_starts_afresh():
    first, second = test_signal(2, 5000, seed=1), test_signal(2, 5000, seed=2)
    preamp = q38.Preamp(seed=9, input_gain=60)
    alone = preamp(first, RATE)
    preamp(second, RATE)
    np.testing.assert_array_equal(preamp(first, RATE), alone)
    # Without a reset the engine goes on, unless the rate changes.
    assert not np.array_equal(preamp(first, RATE, reset=False), alone)
    np.testing.assert_array_equal(preamp(first, 48000, reset=False), q38.Preamp(seed=9, input_gain=60)(first, 48000))


def test_threads_get_the_answers_of_one_thread():
    audio = test_signal(2, 30000)
    expected = q38.Preamp(seed=4, input_gain=45)(audio, RATE)
    shared = q38.Preamp(seed=4, input_gain=45)  # calls take turns
    preamps = [shared, shared, q38.Preamp(seed=4, input_gain=45), q38.Preamp(seed=4, input_gain=45)]
    with ThreadPoolExecutor(4) as pool:
        for out in pool.map(lambda preamp: preamp(audio, RATE), preamps):
            np.testing.assert_array_equal(out, expected)


@pytest.mark.parametrize("settings, error, message", [
    ({"input_gain": 80}, ValueError, "input_gain=80: Ch.1: Input Gain: 80 dB is out of range (3 to 76 dB)"),
    ({"trim": "loud"}, ValueError, "\"loud\" is not a value in dB (-24 to 24 dB)"),
    ({"high_tone2": float("nan")}, ValueError, "(-10 to 10 dB)"),
    ({"highpass": 4}, ValueError, "no such index; highpass takes one of 'Bypassed', '80 Hz', '300 Hz', "
                                  "'80 + 300 Hz' or its index 0 to 3"),
    ({"highpass": "90 Hz"}, ValueError, "is not one of Bypassed | 80 Hz | 300 Hz | 80 + 300 Hz"),
    ({"effect": 0.5}, TypeError, "effect takes one of 'Off', 'On' or its index 0 to 1, not float"),
    ({"input_gain": True}, TypeError, "input_gain takes a number in dB (3 to 76 dB), not bool"),
    ({"input_gain": (40, 50, 60)}, ValueError, "input_gain takes one value or 2, one per channel"),
    ({"gain": 40}, TypeError, "unknown setting 'gain'; the settings are effect, link, stereo_mode"),
    ({"preset": "nope"}, ValueError, 'no preset "nope": neither a file nor one of clean-vocal, warm-bass-di'),
    ({"preset": 3}, TypeError, "preset takes a factory preset's word or name or a file, not int"),
    ({"oversample": 3}, ValueError, "oversample=3: 1, 2, 4 or 8 are possible"),
    ({"oversample": 2.0}, TypeError, "oversample takes 1, 2, 4 or 8, not float 2.0"),
])
def test_refuses_bad_settings_and_changes_nothing(settings, error, message):
    with pytest.raises(error) as caught:
        q38.Preamp(**settings)
    assert message in str(caught.value)
    preamp = q38.Preamp(input_gain1=40, highpass2=1)
    before = preamp.settings
    with pytest.raises((error, AttributeError)):
        for name, value in settings.items():
            setattr(preamp, name, value)
    assert preamp.settings == before


def test_settings_read_back_and_rebuild_the_same_preamp():
    preamp = q38.Preamp(input_gain=(40, 45.5), highpass=2, stereo_mode="m/s", trim="-3 dB", eq2=False, seed=3,
                        oversample=2)
    assert (preamp.input_gain, preamp.highpass, preamp.eq) == ((40.0, 45.5), "300 Hz", ("On", "Off"))
    assert preamp.settings["stereo_mode"] == "M/S" and preamp.settings["trim2"] == -3.0
    audio = test_signal(2, 3000)
    for copy in (q38.Preamp(seed=3, oversample=preamp.oversample, **preamp.settings), pickle.loads(pickle.dumps(preamp))):
        assert copy.settings == preamp.settings
        np.testing.assert_array_equal(copy(audio, RATE), preamp(audio, RATE))
    defaults = {parameter.option: parameter.default for parameter in q38.parameters()}
    assert q38.Preamp(**defaults).settings == q38.Preamp().settings == defaults


def test_meters_read_each_channel_of_the_last_call():
    preamp = q38.Preamp(input_gain=76)
    assert preamp.meters == (0.0, 0.0)
    loud = np.full((2, 4096), 0.5, np.float32)
    loud[:, -64:] = 0.0
    preamp(loud[0], RATE)
    assert preamp.meter_peaks == (1.0, 0.0)  # mono leaves channel 2 as the reset left it
    preamp(loud, RATE)
    assert preamp.meter_peaks == (1.0, 1.0)
    assert preamp.meters[0] < 1.0  # the last block was quieter
