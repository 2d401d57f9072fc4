"""q38.render_file and python3 -m q38.batch: the q38 program's files and safety rules."""

import os
import subprocess
import sys

import numpy as np
import pytest

import q38
from conftest import render_with_program, test_signal, write_wav

RATE = 48000
SETTINGS = {"input_gain": 55, "highpass": "80 Hz", "trim": -2}


# 8x at 96 kHz would pass the engine's highest rate: 4x runs, and says so.
@pytest.mark.parametrize("rate, oversample, used", [(RATE, 1, 1), (96000, 8, 4)])
def test_render_file_writes_what_the_program_writes(tmp_path, rate, oversample, used):
    write_wav(tmp_path / "in.wav", test_signal(2, 12345), rate)
    render_with_program(tmp_path / "in.wav", tmp_path / "program.flac", {**SETTINGS, "oversample": oversample}, seed=7)
    info = q38.render_file(tmp_path / "in.wav", tmp_path / "python.flac", seed=7, oversample=oversample, **SETTINGS)
    assert (tmp_path / "python.flac").read_bytes() == (tmp_path / "program.flac").read_bytes()
    assert (info["channels"], info["sample_rate"], info["frames"]) == (2, rate, 12345)
    assert (info["oversample"], info["latency"]) == (used, q38.Preamp(oversample=used).latency(rate))


def test_render_file_reports_loudness_and_true_peak(tmp_path):
    # A 1 kHz sine at -23 dBFS in both channels reads -23 LUFS (EBU R 128's own
    # test signal); the bypass passes it unchanged.
    sine = (10 ** (-23 / 20) * np.sin(2 * np.pi * 1000 * np.arange(5 * RATE) / RATE)).astype(np.float32)
    write_wav(tmp_path / "in.wav", np.stack([sine, sine]), RATE)
    info = q38.render_file(tmp_path / "in.wav", tmp_path / "out.wav", effect="Off")
    for key in ("input_lufs", "output_lufs", "input_true_peak_db", "output_true_peak_db"):
        assert info[key] == pytest.approx(-23.0, abs=0.1), key
    # Unmeasured, the same file comes out and the figures are left out.
    unmeasured = q38.render_file(tmp_path / "in.wav", tmp_path / "fast.wav", effect="Off", loudness=False)
    assert "input_lufs" not in unmeasured
    assert (tmp_path / "fast.wav").read_bytes() == (tmp_path / "out.wav").read_bytes()


def test_render_file_never_replaces_its_input_or_an_existing_file(tmp_path):
    source, other = tmp_path / "in.wav", tmp_path / "other.wav"
    write_wav(source, test_signal(1, 1000), RATE)
    other.write_bytes(b"keep")
    (tmp_path / "link.wav").symlink_to(source)
    original = source.read_bytes()
    for target, force, message in [(source, True, "is the input file"), (tmp_path / "link.wav", True,
                                   "is the input file"), (other, False, "exists; use --force")]:
        with pytest.raises(ValueError, match=message):
            q38.render_file(source, target, force=force)
    assert source.read_bytes() == original and other.read_bytes() == b"keep"
    q38.render_file(source, other, force=True)
    assert other.read_bytes()[:4] == b"RIFF"


def test_render_file_leaves_nothing_behind_on_failure(tmp_path):
    (tmp_path / "broken.wav").write_bytes(b"RIFF0000WAVEnot really")
    with pytest.raises(OSError, match="is not a sound file q38 can read"):
        q38.render_file(tmp_path / "broken.wav", tmp_path / "out.wav")
    with pytest.raises(ValueError, match="input_gain=99"):
        q38.render_file(tmp_path / "broken.wav", tmp_path / "out.wav", input_gain=99)
    # A disk that fills up half-way, through the program's test hook.
    write_wav(tmp_path / "in.wav", test_signal(2, 48000), RATE)
    script = "import sys, q38; q38.render_file(sys.argv[1], sys.argv[2])"
    failed = subprocess.run([sys.executable, "-c", script, tmp_path / "in.wav", tmp_path / "out.wav"],
                            env={**os.environ, "Q38_TEST_WRITE_LIMIT": "100000"}, capture_output=True, text=True)
    assert failed.returncode != 0 and "No space left on device" in failed.stderr
    assert sorted(os.listdir(tmp_path)) == ["broken.wav", "in.wav"]


def test_batch_on_two_local_workers(tmp_path):
    inputs, reference, out = tmp_path / "in", tmp_path / "reference", tmp_path / "out"
    (inputs / "takes").mkdir(parents=True)
    reference.mkdir()
    names = ["a.wav", "b.wav", "takes/c.wav", "takes/d.wav", "takes/f.wav", "e.wav"]
    for index, name in enumerate(names):
        write_wav(inputs / name, test_signal(1 + index % 2, 4000 + 999 * index, seed=index), RATE)
        render_with_program(inputs / name, reference / name.replace("/", "_"),
                            {"preset": "warm-bass-di", "oversample": 2, **SETTINGS, "stereo_mode": "M/S"}, seed=11)
    (inputs / "takes" / "broken.wav").write_bytes(b"RIFF....WAVEfmt nothing else")
    (inputs / "notes.txt").write_text("not a sound file, not even tried")
    (out / "e.wav").parent.mkdir()
    (out / "e.wav").write_bytes(b"already there")

    arguments = [sys.executable, "-m", "q38.batch", inputs, "-o", out, "--workers", "2", "--seed", "11",
                 "--preset", "warm-bass-di", "--input-gain", "55", "--highpass", "80 Hz", "--trim=-2", "--stereo-mode",
                 "--oversample", "2"]
    batch = subprocess.run(arguments, capture_output=True, text=True, timeout=120)

    assert batch.returncode == 1, batch.stderr
    assert "7 files: 5 rendered, 1 skipped, 1 failed" in batch.stdout
    assert "takes/broken.wav: " in batch.stdout and "is not a sound file q38 can read" in batch.stdout
    assert "skipped " + str(out / "e.wav") in batch.stderr
    for name in names[:5]:
        assert (out / name).read_bytes() == (reference / name.replace("/", "_")).read_bytes(), name
    assert (out / "e.wav").read_bytes() == b"already there"
    assert sorted(str(path.relative_to(out)) for path in out.rglob("*")) == [
        "a.wav", "b.wav", "e.wav", "takes", "takes/c.wav", "takes/d.wav", "takes/f.wav"]


def test_installs_into_the_prefix(tmp_path):
    subprocess.run([os.environ["CMAKE_COMMAND"], "--install", os.environ["Q38_BINARY_DIR"], "--prefix", tmp_path,
                    "--component", "python"], check=True, capture_output=True)
    (package,) = tmp_path.glob("lib/python3*/*-packages/q38")
    script = "import q38; print(q38.__file__, q38.Preamp(input_gain=40)([0.1] * 100, 8000).shape)"
    shown = subprocess.run([sys.executable, "-c", script], env={**os.environ, "PYTHONPATH": str(package.parent)},
                           check=True, capture_output=True, text=True, cwd=tmp_path).stdout
    assert shown == f"{package / '__init__.py'} (100,)\n"
    assert (package / "batch.py").is_file() and not (package / "batch.py").is_symlink()
