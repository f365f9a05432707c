#!/usr/bin/env python3
"""Runs every command of docs/fleet.md and compares what is printed with what the page shows.

Usage: run_page.py TALSTORE FOLDER
The tests of talstore run the blocks marked `console`; this runs those marked `shell-session` as well, which take node and
npm. What npm installs is held to the checksums of package-lock.json before.
"""

import difflib
import pathlib
import re
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
DOCS = HERE.parent.parent / "docs"


def blocks(page, languages):
    return re.findall(rf"^```(?:{languages})\n(.*?)^```$", (DOCS / page).read_text(), re.DOTALL | re.MULTILINE)


def script_of(session, talstore):
    """Runs what follows each "$ ", and prints that line before."""
    script = f'talstore() {{ "{talstore}" "$@"; }}\nexport -f talstore\nexport SHELL=/bin/bash\n'
    for line in session.splitlines():
        if line.startswith("$ "):
            script += f"cat <<'END'\n{line}\nEND\n{line[2:]}\n"
    return script


def main():
    talstore, folder = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    old, new = blocks("talstore.md", "json")
    (folder / "old.json").write_text(old)
    (folder / "new.json").write_text(new)
    (ask,) = blocks("fleet.md", "js")
    (folder / "ask.mjs").write_text(ask)
    for name in "package.json", "package-lock.json":
        shutil.copy(HERE / name, folder)
    # The page's own installation finds there what it wants.
    subprocess.run(["npm", "ci", "--no-audit", "--no-fund", "--loglevel=error"], cwd=folder, check=True)
    if not blocks("fleet.md", "shell-session"):
        sys.exit("docs/fleet.md has no block that takes node")
    expected = "".join(blocks("fleet.md", "console|shell-session"))
    ended = subprocess.run(["bash", "-c", script_of(expected, talstore)], cwd=folder, text=True, check=False,
                           stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if ended.stdout != expected:
        lines = (text.splitlines(keepends=True) for text in (expected, ended.stdout))
        sys.exit("".join(difflib.unified_diff(*lines, "docs/fleet.md", "printed"))
                 + "npm said: " + (folder / "installed").read_text())
    print(f"{expected.count('$ ')} commands of docs/fleet.md print what it shows")


main()
