"""q38.Preamp: the engine as an effect object called on numpy arrays."""

from __future__ import annotations

import numbers

import numpy as np

from . import _q38, _settings


def check_seed(seed) -> int | None:
    if seed is None:
        return None
    if not isinstance(seed, numbers.Integral) or isinstance(seed, (bool, np.bool_)):
        raise TypeError(f"seed takes a whole number or None, not {type(seed).__name__}")
    if not 0 <= int(seed) < 2**64:
        raise ValueError(f"seed {seed} is out of range (0 to {2**64 - 1})")
    return int(seed)


def _check_rate(sample_rate) -> int:
    if isinstance(sample_rate, numbers.Real) and not isinstance(sample_rate, (bool, np.bool_)):
        if float(sample_rate).is_integer():
            return int(sample_rate)
    raise TypeError(f"sample_rate takes a whole number of Hz, not {sample_rate!r}")


def _as_blocks(audio) -> np.ndarray:
    """audio as a (channels, samples) view, checked."""
    array = np.asarray(audio)
    if array.dtype not in (np.float32, np.float64):
        raise TypeError(f"audio must be a float32 or float64 array, not {array.dtype}")
    if array.ndim == 1:
        return array[np.newaxis]
    if array.ndim == 2 and array.shape[0] in (1, 2):
        return array
    hint = " (samples in rows? pass audio.T)" if array.ndim == 2 and array.shape[1] in (1, 2) else ""
    raise ValueError(f"audio must be shaped (samples,) or (channels, samples) with 1 or 2 channels, "
                     f"not {array.shape}{hint}")


class Preamp:
    """The Q38 tube preamp as an effect: settings in, then called on audio.

    >>> p = q38.Preamp(input_gain=40, highpass="80 Hz", seed=38)
    >>> out = p(audio, 48000)            # float32, shaped like audio

    Settings are the q38 program's option words in snake case, in physical
    units: input_gain (dB, both channels), input_gain1, input_gain2,
    highpass ("80 Hz" or its index), high_tone, low_tone, eq, trim (dB),
    phase_reverse, effect, link, stereo_mode ("M/S"), ... (q38.parameters()
    lists them). preset= starts from a factory preset ("clean-vocal",
    q38.presets() lists them) or a q38 preset file, the settings given
    applying over it. They are also attributes, and p.settings holds them all.
    With a seed the hiss, and so the output, is the same on every run and
    equals `q38 render --seed` for the same settings.
    """

    __slots__ = ("_engine", "_values")

    def __init__(self, *, seed=None, preset=None, **settings):
        values = _settings.values_of(settings, preset)
        object.__setattr__(self, "_engine", _q38.Processor(check_seed(seed)))
        object.__setattr__(self, "_values", values)

    def process(self, audio, sample_rate, reset=True) -> np.ndarray:
        """Processes audio, (samples,) or (channels, samples), float32 or float64; returns float32 of its shape.

        reset=True starts from a freshly made engine at this rate, so the
        result does not depend on earlier calls. reset=False goes on from
        where the last call stopped (streaming: chunks give the samples of one
        whole call), unless the rate changed. The engine computes in float32
        at its edges: float64 input is rounded to float32 first.
        """
        blocks = _as_blocks(audio)
        rate = _check_rate(sample_rate)
        output = self._engine.process(np.ascontiguousarray(blocks, dtype=np.float32), rate, bool(reset),
                                      self._values)
        return output.reshape(np.shape(audio))

    __call__ = process

    @property
    def settings(self) -> dict:
        """Every setting, one entry per parameter and channel; Preamp(**p.settings) sounds the same."""
        return _settings.settings_of(self._values)

    @property
    def seed(self) -> int | None:
        return self._engine.seed

    @property
    def meters(self) -> tuple[float, float]:
        """The two meters (0..1, channel 1 and 2 amplifier outputs) after the last block processed."""
        return self._engine.meters[0]

    @property
    def meter_peaks(self) -> tuple[float, float]:
        """The highest reading of each meter during the last call."""
        return self._engine.meters[1]

    def __getattr__(self, name):
        if name not in _settings.WORDS:
            raise AttributeError(f"'Preamp' object has no attribute {name!r}")
        return _settings.value_of(self._values, name)

    def __setattr__(self, name, value):
        if name not in _settings.WORDS:
            raise AttributeError(f"'Preamp' object has no setting {name!r}; the settings are "
                                 f"{', '.join(_settings.SHORTEST)}")
        object.__setattr__(self, "_values", _settings.apply(self._values, {name: value}))

    def __dir__(self):
        return sorted(set(super().__dir__()) | set(_settings.WORDS))

    def __repr__(self):
        defaults = _settings.defaults()
        changed = [f"{name}={value!r}" for (name, value), current, default
                   in zip(self.settings.items(), self._values, defaults) if current != default]
        if self.seed is not None:
            changed.append(f"seed={self.seed}")
        return f"Preamp({', '.join(changed)})"

    def __reduce__(self):
        # Settings by value, so that a copy sounds the same; the stream state stays behind.
        return (_restore, (self.seed, list(self._values)))


def _restore(seed, values):
    preamp = Preamp(seed=seed)
    object.__setattr__(preamp, "_values", list(values))
    return preamp
