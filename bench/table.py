"""Runs the benchmark programs of a folder and prints what they measure as one table."""
import json
import os
import subprocess
import sys
import tempfile


def measure(program, options):
    """The benchmarks of one program, as it reports them."""
    with tempfile.NamedTemporaryFile(suffix=".json") as report:
        run = subprocess.run([program, f"--benchmark_out={report.name}",
                              "--benchmark_out_format=json", *options],
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if run.returncode != 0:
            print(run.stdout)
            sys.exit(f"{program} ended with status {run.returncode}")
        return json.load(report)["benchmarks"]


def row(program, bench):
    """Program, name, real and processor time, iterations, and whatever else it counts."""
    unit = bench.get("time_unit", "ns")
    known = {"name", "run_name", "run_type", "repetitions", "repetition_index", "threads",
             "iterations", "real_time", "cpu_time", "time_unit", "family_index",
             "per_family_instance_index", "label", "aggregate_name", "aggregate_unit"}
    counters = " ".join(f"{name}={value:.4g}" for name, value in bench.items()
                        if name not in known and isinstance(value, (int, float)))
    if bench.get("error_occurred"):
        return [program, bench["name"], "failed", "", "", bench.get("error_message", "")]
    return [program, bench["name"], f"{bench['real_time']:.4g} {unit}",
            f"{bench['cpu_time']:.4g} {unit}", str(bench["iterations"]),
            (bench.get("label", "") + " " + counters).strip()]


def main():
    folder, options = sys.argv[1], sys.argv[2:]
    programs = sorted(name for name in os.listdir(folder) if name.endswith("_bench"))
    if not programs:
        sys.exit(f"{folder}: no benchmark programs")
    rows = [["program", "benchmark", "time", "processor", "runs", ""]]
    for program in programs:
        print(f"running {program} ...", file=sys.stderr)
        rows += [row(program, bench) for bench in measure(os.path.join(folder, program), options)]
    widths = [max(len(cells[i]) for cells in rows) for i in range(6)]
    for cells in rows:
        left = [cells[i].ljust(widths[i]) for i in (0, 1)]
        right = [cells[i].rjust(widths[i]) for i in (2, 3, 4)]
        print("  ".join(left + right + [cells[5]]).rstrip())
    sys.exit(1 if any(cells[2] == "failed" for cells in rows) else 0)


main()
