"""robot-model.xsd accepts the models and what is odd but allowed, and refuses each broken one.

The reader is held to the same files by models_test.
"""
import glob
import os
import subprocess
import sys

ACCEPTED = 0
NO_XML, INVALID = 1, 3  # every other status is trouble of the tool or the schema


def status(schema, model):
    command = ["xmllint", "--nonet", "--noout", "--schema", schema, model]
    return subprocess.run(command, capture_output=True, text=True)


def main():
    folder = sys.argv[1]
    schema = os.path.join(folder, "robot-model.xsd")
    accepted = glob.glob(folder + "/*.xml") + glob.glob(folder + "/test/accepted/*.xml")
    refused = glob.glob(folder + "/test/refused/*.xml")
    faults = []
    for model in sorted(accepted):
        run = status(schema, model)
        if run.returncode != ACCEPTED:
            faults.append(f"{model}: is refused\n{run.stderr}")
    for model in sorted(refused):
        run = status(schema, model)
        if run.returncode not in (NO_XML, INVALID):
            faults.append(f"{model}: is not refused ({run.returncode})\n{run.stderr}")
    print("\n".join(faults + [f"{len(accepted)} to accept, {len(refused)} to refuse, {len(faults)} faults"]))
    sys.exit(1 if faults or not accepted or not refused else 0)


main()
