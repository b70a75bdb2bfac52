#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Fails when a folder under src/ includes something above it, or widgets outside ui/ and app/."""
import pathlib
import re
import sys

KNOWS = {
    "base": set(),
    "platform": {"base"},
    "daqmx": {"platform", "base"},
    "acquisition": {"daqmx", "platform", "base"},
    "recording": {"platform", "base"},
    "processing": {"acquisition", "recording", "platform", "base", "daqmx"},
    "hardware": {"daqmx", "recording", "platform", "base"},
    "envsens": {"recording", "platform", "base"},
    "camera": {"recording", "platform", "base"},
    "simulation": {"daqmx", "base", "platform"},
    "session": {"processing", "acquisition", "recording", "hardware", "envsens", "camera", "daqmx",
                "platform", "base"},
    # Value types below session/ only; no acquisition, file or hardware logic.
    "ui": {"session", "processing", "recording", "acquisition", "base"},
    "app": {"ui", "session", "processing", "acquisition", "recording", "hardware", "simulation", "daqmx",
            "platform", "base", "envsens", "camera"},
}
WIDGETS = re.compile(r"^Q(Widget|Application|Dialog|MessageBox|MainWindow|PushButton|Label|FileDialog)$")
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]')


def main() -> int:
    source = pathlib.Path(__file__).resolve().parent.parent / "src"
    bad, files = [], 0
    for path in sorted(source.rglob("*")):
        if path.suffix not in {".h", ".cpp"}:
            continue
        files += 1
        folder = path.relative_to(source).parts[0]
        if folder not in KNOWS:
            bad.append(f"{path.relative_to(source)}: folder '{folder}' is not in the list of layers")
            continue
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            target = match.group(1)
            other = target.split("/")[0]
            if "/" in target and other in KNOWS and other != folder and other not in KNOWS[folder]:
                bad.append(f"{path.relative_to(source)}:{number}: {folder}/ may not include {target}")
            if folder not in {"ui", "app"} and WIDGETS.match(target):
                bad.append(f"{path.relative_to(source)}:{number}: widgets belong to ui/")
            if folder == "platform" or "platform/" not in target:
                continue
            if target.startswith(("platform/linux/", "platform/windows/")):
                bad.append(f"{path.relative_to(source)}:{number}: include the service's header, not a side of it")
        if folder != "platform" and re.search(r"^\s*#\s*if.*\b(Q_OS_|__linux__)", path.read_text(encoding="utf-8"),
                                              re.M):
            bad.append(f"{path.relative_to(source)}: operating-system conditions belong to platform/")
    print("\n".join(bad) if bad else f"layers: {files} files, no include points upwards")
    return 1 if bad or files == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
