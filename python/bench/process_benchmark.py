"""Python's Engine.process against the C++ engine on the same frame sets.

Both sides are the same kind of program, run alternately in rounds so that
both see the same machine load: each reads the calibration and recording
from files, makes an engine, processes every frame set once to warm up, then
times every call of PASSES passes over the frame sets and prints, per call,
the wall-clock duration and the CPU time of the calling thread in
nanoseconds. The CPU time is the cost of the call itself; on a machine that
other work keeps busy the wall clock also counts the time others took.

  C++     kelvora_process_timing: IKelvora::processWhole on frames in
          memory, results left in the engine's own buffers;
  Python  this script with --side python: engine.process(*frame_set), with
          the frame checks, fresh result arrays and everything else a
          caller gets, the previous result dropped as a loop drops it.

Run it with the package of a build tree on the path:

  PYTHONPATH=build/python /usr/bin/python3 python/bench/process_benchmark.py

The C++ program is taken from the same build tree (--timing names another).
"""

import argparse
import os
import platform
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import kelvora


def python_side(calibration, recording, passes, settings):
    """The Python program of one round: prints one duration per call."""
    engine = kelvora.Engine(calibration)
    engine.configure(**settings)
    frame_sets = list(kelvora.Recording.open(recording))
    lines = []
    for p in range(-1, passes):
        for frame_set in frame_sets:
            cpu_start = time.thread_time_ns()
            start = time.perf_counter_ns()
            result = engine.process(*frame_set)
            stop = time.perf_counter_ns()
            cpu_stop = time.thread_time_ns()
            if p >= 0:
                lines.append(f"{stop - start} {cpu_stop - cpu_start}")
    del result
    print("\n".join(lines))


def run_side(command, wall, cpu):
    out = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    for line in out.splitlines():
        wall_ns, cpu_ns = line.split()
        wall.append(int(wall_ns) / 1e6)
        cpu.append(int(cpu_ns) / 1e6)


def parse_settings(engine, texts):
    kinds = {p.name: p.type for p in engine.parameter_info()}
    values = {}
    for text in texts:
        name, value = text.split("=", 1)
        convert = {"float": float, "bool": lambda t: t in ("true", "1", "on")}
        values[name] = convert.get(kinds.get(name), int)(value)
    return values


def cpu_model():
    try:
        for line in Path("/proc/cpuinfo").read_text().splitlines():
            if line.startswith("model name"):
                return line.split(":", 1)[1].strip()
    except OSError:
        pass
    return platform.processor() or "unknown"


def summary(name, times):
    times = sorted(times)
    return (
        f"  {name:7} median {statistics.median(times):6.3f} ms   "
        f"10th percentile {times[len(times) // 10]:6.3f} ms   "
        f"mean {statistics.fmean(times):6.3f} ms   ({len(times)} calls)"
    )


def comparison(title, cpp, python):
    ratio = statistics.median(python) / statistics.median(cpp)
    return "\n".join([
        title,
        summary("C++", cpp),
        summary("Python", python),
        f"  Python / C++ (medians): {ratio:.3f}, {100 * (ratio - 1):+.1f} %",
    ])


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    default_timing = Path(kelvora.__file__).resolve().parent.parent / "kelvora_process_timing"
    parser.add_argument("--timing", type=Path, default=default_timing,
                        help="the C++ timing program (default: beside the package)")
    parser.add_argument("--width", type=int, default=224)
    parser.add_argument("--height", type=int, default=172)
    parser.add_argument("--frequencies", type=int, nargs="+", default=[80_320_000, 60_240_000])
    parser.add_argument("--rounds", type=int, default=10, help="alternating rounds (10)")
    parser.add_argument("--passes", type=int, default=20,
                        help="timed passes over the 5 frame sets per round and side (20)")
    parser.add_argument("--set", dest="settings", action="append", default=[],
                        metavar="NAME=VALUE", help="a parameter for both sides")
    parser.add_argument("--side", choices=["python"], help=argparse.SUPPRESS)
    parser.add_argument("--calibration", help=argparse.SUPPRESS)
    parser.add_argument("--recording", help=argparse.SUPPRESS)
    args = parser.parse_args()

    if args.side == "python":
        settings = parse_settings(kelvora.Engine(args.calibration), args.settings)
        python_side(args.calibration, args.recording, args.passes, settings)
        return
    if not args.timing.is_file():
        sys.exit(f"no C++ timing program at {args.timing}; build kelvora_process_timing")

    calibration, frame_sets, _ = kelvora.synthetic(
        width=args.width, height=args.height, frequencies=args.frequencies, frames=5
    )
    load_before = os.getloadavg()
    cpp, python = ([], []), ([], [])  # (wall, cpu) per side
    with tempfile.TemporaryDirectory() as folder:
        calibration_file = Path(folder) / "calibration.bin"
        calibration_file.write_bytes(calibration)
        recording = kelvora.Recording.create(Path(folder) / "recording.kvrec", frame_sets)
        sides = [
            (cpp, [str(args.timing), str(calibration_file), recording.path, str(args.passes),
                   *args.settings]),
            (python, [sys.executable, __file__, "--side", "python", "--calibration",
                      str(calibration_file), "--recording", recording.path,
                      "--passes", str(args.passes)]
             + [f"--set={s}" for s in args.settings]),
        ]
        for r in range(args.rounds):
            for times, command in sides if r % 2 == 0 else reversed(sides):
                run_side(command, *times)
    load_after = os.getloadavg()

    megahertz = " and ".join(f"{f / 1e6:g}" for f in args.frequencies)
    print(f"{args.width} x {args.height}, {megahertz} MHz, {len(frame_sets)} frame sets; "
          f"{args.rounds} alternating rounds of {args.passes} passes per side")
    print(f"machine: {cpu_model()}, {os.cpu_count()} cores; load average (1 minute) "
          f"{load_before[0]:.2f} before, {load_after[0]:.2f} after")
    print(comparison("CPU time of the calling thread per call:", cpp[1], python[1]))
    print(comparison("wall-clock time per call:", cpp[0], python[0]))


if __name__ == "__main__":
    main()
