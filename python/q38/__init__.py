"""Q38: a double-precision model of a two-channel vacuum-tube microphone preamplifier.

    import numpy as np, q38
    p = q38.Preamp(input_gain=40, highpass="80 Hz", seed=38)
    out = p(np.zeros((2, 48000), np.float32), 48000)
    q38.render_file("take.wav", "take-q38.wav", preset="clean-vocal", trim=-2)

Many files on one machine or a Dask cluster: python3 -m q38.batch --help.
"""

from ._q38 import __version__
from ._preamp import Preamp, check_seed
from ._settings import Parameter, Preset, load_preset, parameters, presets
from . import _q38, _settings

__all__ = ["Preamp", "Parameter", "Preset", "parameters", "presets", "render_file", "load_preset", "__version__"]


def render_file(in_path, out_path, *, seed=None, preset=None, force=False, subtype=None, loudness=True,
                **settings) -> dict:
    """Renders a sound file with the settings and preset of Preamp, exactly as `q38 render` does.

    Reads anything libsndfile reads (mono or stereo, 8 to 384 kHz); the output's
    extension chooses its format, subtype (e.g. "PCM_24") its sample format. The
    output is written to a temporary file beside it and renamed into place when
    complete; it never replaces the input, nor an existing file unless force=True.
    On failure nothing is left behind: ValueError for a refused output or a bad
    setting, OSError for a file that cannot be read or written.
    A non-finite input sample (NaN, infinity) goes in as silence and is counted.
    Returns channels, sample_rate, frames, seconds, input_format, output_format,
    meter_peaks, non_finite_samples, and as q38 render's summary the integrated
    loudness (LUFS) and true peak (dBTP) of input and output: input_lufs,
    input_true_peak_db, output_lufs, output_true_peak_db (-inf for silence).
    Measuring them costs more than the render: loudness=False leaves them out.
    """
    values = _settings.values_of(settings, preset)
    return _q38.render_file(in_path, out_path, values, check_seed(seed), bool(force), subtype or "",
                            bool(loudness))
