"""Lets single allocations of whole programs fail.

    program_faults.py libfault_hook.so TRIES PROGRAM [ARGUMENT ...]

Runs the program TRIES times with one of its allocations failing, spread over all that it makes. It must write what it
writes without a fault, or end with an error: a status below 128 other than 0, and a text on the standard error stream.
"""

from __future__ import annotations

import os
import subprocess
import sys
import tempfile


def main(hook: str, tries: int, command: list[str]) -> int:
    with tempfile.TemporaryDirectory() as folder:
        count_file = os.path.join(folder, "count")

        def run(**more: str) -> subprocess.CompletedProcess[bytes]:
            environment = dict(os.environ, LD_PRELOAD=hook, **more)
            return subprocess.run(command, capture_output=True, env=environment, cwd=folder, timeout=170)

        plain = run(FAULTS_COUNT=count_file)
        with open(count_file) as file:
            count = int(file.read())
        name = os.path.basename(command[0])
        if plain.returncode != 0:
            print(f"{name} without a fault: status {plain.returncode}")
            return 1
        errors = successes = failures = 0
        for i in range(tries):
            point = 1 + i * count // tries
            ended = run(FAULTS_AT=str(point))
            if ended.returncode == 0 and ended.stdout == plain.stdout:
                successes += 1
            elif 0 < ended.returncode < 128 and ended.stderr.strip():
                errors += 1
            else:
                failures += 1
                text = ended.stderr.decode(errors="replace").strip()[:120]
                print(f"{name} at allocation {point}: status {ended.returncode}, {text!r}")
        print(f"{name:<40} {count:8} {tries:8} {errors:8} {successes:8} {failures:8}")
        return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(os.path.abspath(sys.argv[1]), int(sys.argv[2]), [os.path.abspath(sys.argv[3]), *sys.argv[4:]]))
