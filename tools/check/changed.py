"""clang-tidy over what changed lately, within a time limit."""

import os
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor

from steps import ROOT

# On the main branch itself nothing differs from it; then these many commits count as the change.
LATEST = 5


def git(*arguments):
    done = subprocess.run(["git", *arguments], cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
    return done.stdout.decode().strip() if done.returncode == 0 else None


def base():
    """The commit that the change starts from, or None when there is no history."""
    head = git("rev-parse", "HEAD")
    fork = git("merge-base", "origin/main", "HEAD")
    if fork and fork != head:
        return fork
    return git("rev-parse", f"HEAD~{LATEST}") or git("rev-list", "--max-parents=0", "HEAD")


def changed_sources():
    """Changed .cpp files that the release build compiles."""
    start = base()
    names = set((git("diff", "--name-only", "--diff-filter=d", start, "--", "*.cpp") or "").splitlines()) if start else set()
    names |= set((git("ls-files", "-mo", "--exclude-standard", "--", "*.cpp") or "").splitlines())
    with open(os.path.join(ROOT, "build", "release", "compile_commands.json"), encoding="utf-8") as file:
        commands = file.read()
    return sorted(name for name in names if os.path.join(ROOT, name) + '"' in commands)


def tidy(step, budget):
    """Looks at changed files for `budget` seconds at most; whether all that were looked at are clean, and what to say."""
    files = changed_sources()
    end = time.monotonic() + budget

    def look(path):
        left = end - time.monotonic()
        if left < 5:
            return path, None, ""
        try:
            done = subprocess.run(
                ["clang-tidy-19", "-p", "build/release", "--quiet", "--extra-arg=-Wno-unknown-warning-option", path],
                cwd=ROOT, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=left,
                check=False)
            return path, done.returncode, done.stdout.decode(errors="replace")
        except subprocess.TimeoutExpired:
            return path, None, ""

    with ThreadPoolExecutor(2) as pool:
        results = list(pool.map(look, files))
    looked = [path for path, code, _ in results if code is not None]
    bad = [path for path, code, _ in results if code not in (None, 0)]
    for path, code, text in results:
        print(f"{path}: {'not looked at, time is up' if code is None else code}\n{text if code else ''}", file=step.log)
    said = f"{len(looked)} of {len(files)} changed files looked at"
    if bad:
        said += "; findings in " + ", ".join(bad)
    return not bad, said
