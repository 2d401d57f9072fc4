"""What the Python package costs: q38.Preamp against the C++ library on the
same work, and q38.batch throughput with one and two workers.

    /usr/bin/python3 bench/python_bench.py [--build build/default]

Needs a Release build with benchmarks (the default preset). Prints medians;
the machine should be otherwise idle (see uptime).
"""

import argparse
import json
import os
import re
import statistics
import subprocess
import sys
import tempfile
import time
import wave
from pathlib import Path

import numpy as np

RATE = 48000


def machine() -> str:
    model = next((line.split(":", 1)[1].strip() for line in Path("/proc/cpuinfo").read_text().splitlines()
                  if line.startswith("model name")), "unknown")
    return f"{model}, {os.cpu_count()} cores, load average {os.getloadavg()[0]:.2f}"


def programme(seconds: float, seed: int = 7) -> np.ndarray:
    """Stereo noise at the level of the library's own benchmark signal."""
    rng = np.random.default_rng(seed)
    left = rng.normal(0.0, 0.1, int(seconds * RATE))
    return np.stack([left, 0.5 * left + rng.normal(0.0, 0.1, left.size)]).astype(np.float32)


def time_calls(call, repetitions: int) -> float:
    """Median CPU time of one call, in milliseconds: steadier than wall time
    on a machine that others share, and what the library's benchmark reports."""
    call()
    times = []
    for _ in range(repetitions):
        start = time.process_time()
        call()
        times.append(time.process_time() - start)
    return 1000.0 * statistics.median(times)


def library_ms(build: Path, repetitions: int) -> float:
    """Median CPU time of BM_ProcessOneSecond, in milliseconds."""
    report = subprocess.run(
        [build / "bench" / "q38_engine_bench", "--benchmark_filter=BM_ProcessOneSecond",
         f"--benchmark_repetitions={repetitions}", "--benchmark_format=json"],
        check=True, capture_output=True, text=True).stdout
    runs = [run["cpu_time"] for run in json.loads(report)["benchmarks"] if run.get("run_type") == "iteration"]
    return statistics.median(runs)


def preamp_table(build: Path, repetitions: int):
    import q38

    audio = programme(1.0)
    preamp = q38.Preamp(seed=1)
    library = library_ms(build, repetitions)
    rows = [("C++ library, `process` in blocks of 32 (BM_ProcessOneSecond)", library)]
    rows.append(("`Preamp`, float32, reset=False (streaming)",
                 time_calls(lambda: preamp(audio, RATE, reset=False), repetitions * 3)))
    rows.append(("`Preamp`, float32, reset=True (fresh engine each call)",
                 time_calls(lambda: preamp(audio, RATE), repetitions * 3)))
    wide = audio.astype(np.float64)
    rows.append(("`Preamp`, float64, reset=False", time_calls(lambda: preamp(wide, RATE, reset=False),
                                                              repetitions * 3)))
    print("| 1 s of stereo at 48 kHz, default settings | CPU ms per call | against the library |\n|---|---|---|")
    for label, ms in rows:
        print(f"| {label} | {ms:.2f} | {100.0 * (ms / library - 1.0):+.1f}% |")


def write_pcm16(path: Path, audio: np.ndarray):
    with wave.open(str(path), "wb") as file:
        file.setnchannels(audio.shape[0])
        file.setsampwidth(2)
        file.setframerate(RATE)
        file.writeframes((np.clip(audio.T, -1, 1) * 32767).astype("<i2").tobytes())


def batch_table(files: int, seconds: float, repetitions: int):
    with tempfile.TemporaryDirectory(prefix="q38-bench-") as scratch:
        inputs = Path(scratch) / "in"
        inputs.mkdir()
        for index in range(files):
            write_pcm16(inputs / f"take{index:02}.wav", programme(seconds, seed=index))
        throughput = {}
        for workers in (1, 2):
            rates = []
            for _ in range(repetitions):
                summary = subprocess.run(
                    [sys.executable, "-m", "q38.batch", inputs, "-o", Path(scratch) / "out", "--workers",
                     str(workers), "--force", "--input-gain", "40"],
                    check=True, capture_output=True, text=True).stdout
                rates.append(float(re.search(r"([0-9.]+) audio-seconds per second", summary).group(1)))
            throughput[workers] = statistics.median(rates)
    print(f"\n| q38.batch, {files} files of {seconds:g} s, stereo 48 kHz 16-bit in, 32-bit float out "
          "| audio-seconds per second | against one worker |\n|---|---|---|")
    for workers, rate in throughput.items():
        print(f"| {workers} worker{'s' if workers > 1 else ''} | {rate:.0f} | {rate / throughput[1]:.2f}x |")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--build", type=Path, default=Path("build/default"))
    parser.add_argument("--repetitions", type=int, default=10)
    parser.add_argument("--files", type=int, default=20)
    parser.add_argument("--seconds", type=float, default=30.0)
    args = parser.parse_args()
    package = args.build.absolute() / "python"
    sys.path.insert(0, str(package))
    os.environ["PYTHONPATH"] = os.pathsep.join(filter(None, [str(package), os.environ.get("PYTHONPATH")]))
    print(f"Machine: {machine()}\n")
    preamp_table(args.build, args.repetitions)
    batch_table(args.files, args.seconds, max(3, args.repetitions // 2))
    print(f"\nLoad average at the end: {os.getloadavg()[0]:.2f}")


if __name__ == "__main__":
    main()
