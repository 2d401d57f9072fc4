"""Helpers of the Python tests: 32-bit float WAV files and the q38 program.

CTest puts the build tree's package on PYTHONPATH and names the program in Q38_CLI.
"""

import os
import struct
import subprocess
from pathlib import Path

import numpy as np
import pytest

FLOAT_FORMAT = 3


def write_wav(path, audio, rate):
    """audio: (channels, samples) float32, written as a 32-bit float WAV."""
    audio = np.atleast_2d(np.asarray(audio, np.float32))
    channels = audio.shape[0]
    data = audio.T.astype("<f4").tobytes()
    fmt = struct.pack("<HHIIHH", FLOAT_FORMAT, channels, rate, rate * 4 * channels, 4 * channels, 32)
    body = b"WAVE" + b"fmt " + struct.pack("<I", len(fmt)) + fmt + b"data" + struct.pack("<I", len(data)) + data
    Path(path).write_bytes(b"RIFF" + struct.pack("<I", len(body)) + body)


def read_wav(path):
    """(audio shaped (channels, samples), rate) of a 32-bit float WAV."""
    raw = Path(path).read_bytes()
    assert raw[:4] == b"RIFF" and raw[8:12] == b"WAVE"
    position, chunks = 12, {}
    while position + 8 <= len(raw):
        name, size = raw[position:position + 4], struct.unpack("<I", raw[position + 4:position + 8])[0]
        chunks[name] = raw[position + 8:position + 8 + size]
        position += 8 + size + (size & 1)
    tag, channels, rate, _, _, bits = struct.unpack("<HHIIHH", chunks[b"fmt "][:16])
    assert (tag, bits) == (FLOAT_FORMAT, 32), "not a 32-bit float WAV"
    return np.frombuffer(chunks[b"data"], "<f4").reshape(-1, channels).T.astype(np.float32), rate


def test_signal(channels, samples, seed=1):
    """Speech-like level noise with a slow swell, so that the tube stages work."""
    rng = np.random.default_rng(seed)
    swell = np.sin(np.linspace(0, 3 * np.pi, samples)) ** 2
    return (rng.standard_normal((channels, samples)) * 0.05 * swell).astype(np.float32)


test_signal.__test__ = False  # a helper, not a test


def q38_program() -> str:
    program = os.environ.get("Q38_CLI")
    if not program:
        pytest.fail("Q38_CLI names the q38 program; run the tests through ctest")
    return program


def render_with_program(source, destination, settings, seed=38):
    """q38 render with settings given as Python keywords (input_gain1=40 -> --input-gain1 40)."""
    arguments = [q38_program(), "render", str(source), "-o", str(destination), "--quiet", "--seed", str(seed)]
    for keyword, value in settings.items():
        arguments += [f"--{keyword.replace('_', '-')}={value}"]
    subprocess.run(arguments, check=True, capture_output=True)
