"""Renders many sound files with the same settings on a Dask cluster.

    python3 -m q38.batch IN... -o OUT_DIR [settings] [--seed N] [--preset NAME|FILE] [--oversample N]
                         [--workers N] [--scheduler ADDRESS] [--force]

IN are files, folders (every sound file under them, the folder structure kept
in OUT_DIR) and glob patterns. Without --scheduler a LocalCluster with one
worker process per core runs the files; with --scheduler tcp://HOST:PORT an
existing cluster does, whose workers have q38 installed and see the same paths.
Each output is written as `q38 render` writes it (temporary file, then rename);
existing outputs are skipped unless --force. A file that fails is reported with
its reason and the others go on; the exit status is 1 when any file failed.
"""

from __future__ import annotations

import argparse
import glob
import logging
import os
import sys
import time
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path

from . import _q38, _settings
from ._preamp import check_seed

EXIT_FAILED = 1
EXIT_USAGE = 2


@dataclass(frozen=True)
class Job:
    input: str
    output: str
    values: tuple[float, ...]
    seed: int | None
    force: bool
    subtype: str
    oversample: int = 1


@dataclass(frozen=True)
class Outcome:
    job: Job
    seconds: float = 0.0  # of audio
    error: str = ""


def render_job(job: Job) -> Outcome:
    """Runs on a worker: one file, any failure returned as its reason."""
    try:
        Path(job.output).parent.mkdir(parents=True, exist_ok=True)
        result = _q38.render_file(job.input, job.output, list(job.values), job.seed, job.force, job.subtype,
                                   False, job.oversample)
        return Outcome(job, seconds=result["seconds"])
    except Exception as error:  # noqa: BLE001 - every failure is reported, the batch goes on
        return Outcome(job, error=str(error) or type(error).__name__)


class UsageError(Exception):
    pass


def find_inputs(patterns: list[str]) -> list[tuple[Path, Path]]:
    """(input, output path relative to OUT_DIR) for every file the patterns name."""
    found = []
    for pattern in patterns:
        path = Path(pattern)
        if path.is_dir():
            found += [(file, file.relative_to(path)) for file in sorted(path.rglob("*"))
                      if file.is_file() and not file.name.startswith(".") and _q38.is_sound_file_name(file)]
        elif path.exists() or not glob.has_magic(pattern):
            found.append((path, Path(path.name)))  # a missing file fails with its reason
        else:
            matches = [Path(match) for match in sorted(glob.glob(pattern, recursive=True))]
            if not matches:
                raise UsageError(f"no file matches {pattern!r}")
            found += [(match, Path(match.name)) for match in matches if match.is_file()]
    return found


def plan(args) -> tuple[list[Job], list[Job]]:
    """The jobs to run and the ones skipped because their output exists."""
    values = _settings.preset_values(args.preset) if args.preset else _settings.defaults()
    for keyword, value in args.settings:  # in the order given, as q38 render takes them
        values = _settings.apply(values, {keyword: value})
    seed = check_seed(args.seed)
    out_dir = Path(args.output).absolute()
    jobs, skipped, claimed = [], [], {}
    for source, relative in find_inputs(args.inputs):
        if out_dir in source.absolute().parents:
            continue  # earlier outputs in a folder being searched
        output = out_dir / (relative.with_suffix("." + args.format.lstrip(".")) if args.format else relative)
        if output in claimed:
            if claimed[output].absolute() == source.absolute():
                continue  # named twice
            raise UsageError(f"{claimed[output]} and {source} would both write {output}")
        claimed[output] = source
        job = Job(str(source.absolute()), str(output), tuple(values), seed, args.force, args.subtype or "",
                  args.oversample)
        (skipped if not args.force and os.path.lexists(output) else jobs).append(job)
    if not claimed:
        raise UsageError("no sound files found")
    return jobs, skipped


@contextmanager
def connect(args):
    from dask.distributed import Client, LocalCluster

    if args.scheduler:
        with Client(args.scheduler) as client:
            yield client
        return
    with LocalCluster(n_workers=args.workers, threads_per_worker=1, processes=True, dashboard_address=None,
                      silence_logs=logging.ERROR) as cluster, Client(cluster) as client:
        yield client


def run(jobs: list[Job], client, report) -> list[Outcome]:
    from dask.distributed import as_completed

    futures = client.map(render_job, jobs, pure=False)
    job_of = {future.key: job for future, job in zip(futures, jobs)}
    outcomes = []
    for future in as_completed(futures):
        try:
            outcome = future.result()
        except Exception as error:  # noqa: BLE001 - a worker lost on the way fails its file only
            outcome = Outcome(job_of[future.key], error=f"the worker failed: {error}")
        outcomes.append(outcome)
        status = f"FAILED: {outcome.error}" if outcome.error else f"{outcome.seconds:.1f} s"
        report(f"[{len(outcomes)}/{len(jobs)}] {outcome.job.input} -> {outcome.job.output}: {status}")
    return outcomes


class _Setting(argparse.Action):
    """Keeps settings in the order given, under their snake-case keywords."""

    def __call__(self, parser, namespace, value, option_string=None):
        namespace.settings.append((option_string.lstrip("-").replace("-", "_"), value))


def parser() -> argparse.ArgumentParser:
    result = argparse.ArgumentParser(
        prog="python3 -m q38.batch", allow_abbrev=False,
        description="Render many sound files through Q38 with the same settings, on this machine "
                    "(a LocalCluster) or on a Dask cluster.")
    result.add_argument("inputs", nargs="+", metavar="IN", help="sound files, folders or glob patterns")
    result.add_argument("-o", "--output", required=True, metavar="OUT_DIR", help="folder for the outputs")
    result.add_argument("--seed", type=int, help="hiss seed: reproducible outputs, equal to q38 render --seed")
    result.add_argument("--oversample", type=int, choices=_q38.OVERSAMPLING_FACTORS, default=1, metavar="N",
                        help="run the engine at N (1, 2, 4 or 8) times each file's rate, as q38 render --oversample")
    words = ", ".join(preset.word for preset in _settings.presets())
    result.add_argument("--preset", metavar="NAME|FILE",
                        help=f"a factory preset ({words}) or a q38 preset file; settings given here override it")
    result.add_argument("--workers", type=int, default=os.cpu_count() or 1,
                        help="worker processes of the local cluster (default: one per core)")
    result.add_argument("--scheduler", metavar="ADDRESS", help="an existing Dask scheduler, tcp://HOST:PORT")
    result.add_argument("--force", action="store_true", help="replace outputs that exist")
    result.add_argument("--format", metavar="EXT", help="output file type by extension (default: the input's)")
    result.add_argument("--subtype", help="output sample format, e.g. PCM_24 (default: as q38 render)")
    settings = result.add_argument_group(
        "settings", "as q38 render takes them: physical values (--input-gain 40, --trim -3) or value texts "
                    "(--highpass '80 Hz', --link on); a switch alone is on (--link); a word without a channel "
                    "number sets both channels")
    result.set_defaults(settings=[])
    # The q38 program's option words: the shortest of each group shown, all
    # accepted; a switch alone is switched on, as q38 render takes it.
    for word in _settings.SHORTEST + sorted(set(_settings.WORDS) - set(_settings.SHORTEST)):
        parameter_id = _settings.WORDS[word][0]
        shown = word in _settings.SHORTEST
        alone = _settings.switched_on(parameter_id)
        settings.add_argument("--" + word.replace("_", "-"), action=_Setting, metavar="VALUE",
                              nargs="?" if alone else None, const=alone,
                              help=(_settings.range_text(parameter_id) + (f"; alone: {alone}" if alone else ""))
                              if shown else argparse.SUPPRESS)
    return result


def main(argv: list[str] | None = None) -> int:
    args = parser().parse_args(argv)
    try:
        if args.workers < 1:
            raise UsageError("--workers takes 1 or more")
        jobs, skipped = plan(args)
    except (UsageError, ValueError, TypeError) as error:
        print(f"q38.batch: {error}", file=sys.stderr)
        return EXIT_USAGE

    def report(line):
        print(line, file=sys.stderr, flush=True)

    for job in skipped:
        report(f"skipped {job.output}: exists (--force replaces it)")
    outcomes = []
    wall = 0.0
    if jobs:
        with connect(args) as client:
            start = time.perf_counter()
            outcomes = run(jobs, client, report)
            wall = time.perf_counter() - start
    failed = [outcome for outcome in outcomes if outcome.error]
    audio = sum(outcome.seconds for outcome in outcomes)
    rate = f", {audio / wall:.1f} audio-seconds per second" if wall > 0 else ""
    print(f"{len(jobs) + len(skipped)} files: {len(outcomes) - len(failed)} rendered, {len(skipped)} skipped, "
          f"{len(failed)} failed; {audio:.1f} s of audio in {wall:.1f} s{rate}")
    for outcome in failed:
        print(f"failed: {outcome.job.input}: {outcome.error}")
    return EXIT_FAILED if failed else 0


if __name__ == "__main__":
    from q38 import batch  # the workers find render_job by this module's name, not __main__

    sys.exit(batch.main())
