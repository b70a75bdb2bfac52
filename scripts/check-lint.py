#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""clang-tidy over the program's sources, with the compile commands of the clang preset.

Most of the time goes into Qt's headers, which each run reads and matches anew. So sources with the same compile
command are joined into one text for one run, a few at a time. When clang-tidy has anything to say about such a text,
its sources are checked one by one, and what is said about those counts.
"""
import concurrent.futures
import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
COMMANDS = ROOT / "build/clang/compile_commands.json"
JOINED = ROOT / "build/lint"
MOST_SOURCES = 8
UNNAMED = re.compile(r"^namespace \{$(.*?)^\} // namespace$", re.MULTILINE | re.DOTALL)
DEFINED = re.compile(r"^[A-Za-z_][\w:<>,&*\s]*?\b(\w+)\s*(?:\(|\{|=|;|\[|:|$)", re.MULTILINE)
INCLUDE = re.compile(r"\s*#\s*include\b")


def sources():
    listed = subprocess.run(["git", "ls-files", "--", "src/*.cpp"], cwd=ROOT, capture_output=True, text=True, check=True)
    return [ROOT / name for name in listed.stdout.split()
            if not name.startswith("src/platform/windows/") and not name.endswith("Tables.cpp")]


def compile_commands():
    """By source; with SOURCE where its name is, and without what the build has checked already."""
    found = {}
    for entry in json.loads(COMMANDS.read_text(encoding="utf-8")):
        command = re.sub(r" -o \S+| -M[TF] \S+", "", entry["command"]).replace(entry["file"], "SOURCE")
        found[pathlib.Path(entry["file"]).resolve()] = command + " -Wno-shadow"
    return found


def local_names(text):
    """What other sources may define, too, for themselves."""
    return {name for part in UNNAMED.findall(text) for name in DEFINED.findall(part)}


def batches(files, commands):
    """Lists of files with the same compile command and without local names in common."""
    found = []
    for file in files:
        command = commands[file]
        names = local_names(file.read_text(encoding="utf-8"))
        for batch in found:
            if batch[0] == command and len(batch[2]) < MOST_SOURCES and not batch[1] & names:
                batch[1].update(names)
                batch[2].append(file)
                break
        else:
            found.append((command, names, [file]))
    return [(command, batch) for command, _, batch in found]


def join(batch):
    """The texts one after the other; what an earlier one includes is not included again."""
    seen, lines = set(), []
    for file in batch:
        own = set()
        for line in file.read_text(encoding="utf-8").splitlines():
            is_include = INCLUDE.match(line) is not None
            lines.append("" if is_include and line in seen else line)
            if is_include:
                own.add(line)
        seen |= own
    return "\n".join(lines) + "\n"


def tidy(folder, files):
    run = subprocess.run(["clang-tidy", "-p", str(folder), "--quiet", *map(str, files)], cwd=ROOT,
                         capture_output=True, text=True)
    return run.returncode == 0, run.stdout + run.stderr


def check(number, batch):
    if len(batch) > 1 and tidy(JOINED, [JOINED / f"{number}.cpp"])[0]:
        return True, 0
    is_clean, said = tidy(COMMANDS.parent, batch)
    if not is_clean:
        print(said, flush=True)
    return is_clean, len(batch)


def main():
    if not COMMANDS.exists():
        subprocess.run([ROOT / "scripts/build.sh", "clang"], check=True)
    files = sources()
    commands = compile_commands()
    if any(file not in commands for file in files):  # sources that are newer than the last build
        subprocess.run(["cmake", "--preset", "clang"], cwd=ROOT, check=True)
        commands = compile_commands()
    groups = batches(files, commands)
    JOINED.mkdir(exist_ok=True)
    entries = []
    for number, (command, batch) in enumerate(groups):
        path = JOINED / f"{number}.cpp"
        path.write_text(join(batch), encoding="utf-8")
        entries.append({"directory": str(COMMANDS.parent), "file": str(path),
                        "command": command.replace("SOURCE", str(path))})
    (JOINED / "compile_commands.json").write_text(json.dumps(entries), encoding="utf-8")
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        results = list(pool.map(lambda group: check(group[0], group[1][1]), enumerate(groups)))
    clean = all(is_clean for is_clean, _ in results)
    print(f"lint: {len(files)} files in {len(groups)} runs, {sum(single for _, single in results)} one by one, "
          f"{'nothing found' if clean else 'FOUND SOMETHING'}")
    return 0 if clean else 1


if __name__ == "__main__":
    sys.exit(main())
