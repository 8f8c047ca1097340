#!/usr/bin/python3
"""Runs clang-tidy over the files of a build folder's compile_commands.json: tidy.py BUILD [FILE...]

Most of clang-tidy's time goes into the headers, which many files share. So files that are compiled
with the same options are put together, some dozen at a time, and findings are told by the places
that they come from. Files whose inner names meet, by which the whole would not compile, go alone.
"""

import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

AT_ONCE = 16  # files; more saves little, and what runs side by side should be of one size
# How far the static analyser follows a function's paths: a quarter of its own limit takes less than half
# of the time.
ANALYSER = ["-Xclang", "-analyzer-config", "-Xclang", "max-nodes=50000"]
CHATTER = re.compile(r"^\d+ warnings?( and \d+ errors?)? generated\.$|^$|^Suppressed |"
                     r"^\d+ warnings? treated as errors?$")


class Batch:
    def __init__(self, path, options, files):
        self.path, self.options, self.files = path, options, files
        self.places = []  # of each line: the file and line it comes from
        text = []
        for file in files:
            lines = pathlib.Path(file).read_text(encoding="utf-8").splitlines()
            text += lines
            self.places += [(file, number + 1) for number in range(len(lines))]
        path.write_text("\n".join(text) + "\n", encoding="utf-8")

    def told(self, output):
        """The output with places in the files, and the files it has errors of the compiler in."""
        place = re.compile(re.escape(str(self.path)) + r":(\d+)")
        broken = set()

        def put(match):
            file, line = self.places[int(match[1]) - 1]
            return f"{os.path.relpath(file)}:{line}"

        lines = []
        for line in output.splitlines():
            at = place.match(line)
            if at and " error: " in line:
                broken.add(self.places[int(at[1]) - 1][0])
            lines.append(place.sub(put, line))
        return lines, broken

    def run(self, before, after=()):
        done = subprocess.run([*before, str(self.path), *after], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, check=False)
        return done.returncode, *self.told(done.stdout)


def split(path, options, files):
    """Batches of these files that compile."""
    whole = Batch(path, options, files)
    if len(files) == 1:
        return [whole]
    status, _, broken = whole.run(["clang++", "-fsyntax-only", "-w", *options])
    if status == 0:
        return [whole]
    alone = broken or set(files)
    batches = [Batch(path.with_name(f"{path.stem}-{number}.cpp"), options, [file])
               for number, file in enumerate(sorted(alone))]
    rest = [file for file in files if file not in alone]
    return batches + (split(path, options, rest) if rest else [])


def check(job):
    found = 0
    texts = []
    for batch in split(*job):
        status, lines, _ = batch.run(["clang-tidy", "--quiet", "--config-file=.clang-tidy"],
                                     ["--", *batch.options, *ANALYSER])
        texts += [line for line in lines if not CHATTER.match(line)] if status else []
        found += status != 0
    return found, texts


def options_of(entry):
    words = shlex.split(entry["command"])[1:]
    at = words.index("-o")
    del words[at:at + 2]
    return tuple(word for word in words if word not in ("-c", entry["file"]))


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    wanted = {os.path.abspath(file) for file in sys.argv[2:]}
    os.chdir(pathlib.Path(__file__).resolve().parent.parent)
    groups = {}
    entries = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
    if wanted:
        entries = [entry for entry in entries if entry["file"] in wanted]
    for entry in entries:
        folder = pathlib.Path(entry["file"]).parent
        groups.setdefault((str(folder), options_of(entry)), set()).add(entry["file"])
    (build / "batches").mkdir(exist_ok=True)
    jobs = []
    for (_, options), files in sorted(groups.items()):
        files = sorted(files)
        count = -(-len(files) // AT_ONCE)
        for part in range(count):
            path = build / "batches" / f"batch{len(jobs)}.cpp"
            jobs.append((path, list(options), files[part::count]))
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for found, lines in pool.map(check, jobs):
            failed += found
            if lines:
                print("\n".join(lines), flush=True)
    if failed or len(entries) < max(1, len(wanted)):
        print(f"Failed; {len(entries)} files.", file=sys.stderr)
        return 1
    print(f"Nothing found in {len(entries)} files.")
    return 0


if __name__ == "__main__":
    sys.exit(main())
