"""The checks of ./test, in order. Quick and cheap ones come first, so that a slip shows early."""

import glob
import os
import re
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import changed  # noqa: E402
from steps import ROOT, Result, run_all  # noqa: E402

# A build without Qt then finds in the cache what the release build made: the same flags in another folder.
SHARED_CACHE = {"CCACHE_NOHASHDIR": "1", "CCACHE_BASEDIR": ROOT}
SLOW_ELSEWHERE = "desktop|e2e|crash"


def tracked(*patterns):
    """Files of the repository, new ones included, that match."""
    out = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z", "--", *patterns], cwd=ROOT, check=True,
                         stdout=subprocess.PIPE).stdout.decode()
    return sorted(path for path in set(out.split("\0")) if path and os.path.exists(os.path.join(ROOT, path)))


def lint(step):
    result = Result()
    for name, command in {
        "who includes whom": ["python3", "tools/lint/includes.py"],
        "the include linter itself": ["python3", "tools/lint/includes_test.py"],
        "clang-format": ["clang-format-19", "--dry-run", "-Werror", *tracked("*.h", "*.cpp")],
        "shell scripts": ["shellcheck", "-x", "setup", "run", "test", ".ci/run", *tracked("*.sh")],
    }.items():
        good = step.run(command) == 0
        result.passed += good
        result.failed += not good
        result.said.append(("" if good else "FAILED: ") + name)
    return result


def build(preset, *targets, define=(), env=None, prefix=()):
    script = '. tools/check/progress.sh; build "$@"'
    return [*prefix, "env", "TOLVIK_CMAKE_ARGUMENTS=" + " ".join(define), "bash", "-c", script, "build", preset, *targets]


def release(step):
    return Result.of(step.show(build("release"), SHARED_CACHE) == 0, "")


def unit(step):
    return step.ctest("release", "-LE", "desktop|e2e")


def desktop(step):
    return step.ctest("release", "-L", "desktop")


def core_only(step):
    # The release build's flags, so that its objects serve here too; what is proved is that nothing asks for Qt.
    good = step.show(build("core-only"), SHARED_CACHE) == 0
    if not good:
        return Result.of(False, "does not build without Qt")
    result = without_qt(step)
    tests = step.ctest("core-only", "-LE", SLOW_ELSEWHERE)
    tests.passed += result.passed
    tests.failed += result.failed
    tests.said += result.said
    return tests


def without_qt(step):
    """Neither program of the command line loads Qt."""
    result = Result()
    for program in ("tolvik", "tolvik-speech"):
        path = os.path.join(ROOT, "build", "core-only", "bin", program)
        libraries = subprocess.run(["ldd", path], stdout=subprocess.PIPE, check=False).stdout.decode()
        good = "libc.so" in libraries and "Qt" not in libraries
        result.passed += good
        result.failed += not good
        if not good:
            result.said.append(f"FAILED: {program} is missing or loads Qt")
    return result


def address(step):
    if step.show(build("asan", define=["-DTOLVIK_BENCH=OFF"])) != 0:
        return Result.of(False, "does not build")
    leaks = os.path.join(ROOT, "tools", "check", "lsan.supp")
    return step.ctest("asan", "-LE", SLOW_ELSEWHERE, env={
        "UBSAN_OPTIONS": "print_stacktrace=1", "LSAN_OPTIONS": f"suppressions={leaks}:print_suppressions=0"})


def threaded_tests():
    """The test programs of folders whose code has threads, locks or atomics."""
    programs = []
    for folder in sorted({os.path.dirname(path) for path in tracked("*.cpp", "*.h")}):
        if folder.split("/")[0] in ("tests", "bench", "ui", "app"):
            continue
        text = "".join(open(path, encoding="utf-8").read() for path in
                       glob.glob(os.path.join(ROOT, folder, "*.cpp")) + glob.glob(os.path.join(ROOT, folder, "*.h")))
        lists = os.path.join(ROOT, folder, "CMakeLists.txt")
        if not re.search(r"std::(jthread|thread|mutex|shared_mutex|atomic|condition_variable)\b|pa_threaded", text):
            continue
        if not glob.glob(os.path.join(ROOT, folder, "*_test.cpp")) or not os.path.exists(lists):
            continue
        with open(lists, encoding="utf-8") as file:
            text = file.read()
        match = re.search(r"tolvik_module\((\w+)", text)
        if match and "TOLVIK_WITH_QT" not in text:
            programs.append(match.group(1) + "_tests")
    return programs


def threads(step):
    # The sanitizer needs a fixed layout of addresses, which newer kernels give only on request.
    fixed = ["setarch", "-R"] if subprocess.call(["setarch", "-R", "true"], stderr=subprocess.DEVNULL) == 0 else []
    programs = threaded_tests()
    if step.show(build("tsan", *programs, prefix=fixed)) != 0:
        return Result.of(False, "does not build")
    result = Result(said=["of " + ", ".join(programs)])
    suppressions = os.path.join(ROOT, "tools", "check", "tsan.supp")
    for program in programs:
        code = step.run([*fixed, os.path.join("build", "tsan", "bin", program), "--gtest_brief=1"], 300,
                        {"TSAN_OPTIONS": f"suppressions={suppressions} second_deadlock_stack=1"})
        result.passed += code == 0
        result.failed += code != 0
        if code != 0:
            result.said.append(f"FAILED: {program} ({code})")
    return result


def tidy(step):
    good, said = changed.tidy(step, budget=240)
    return Result.of(good, said)


def qml(step):
    """Lints the module as the build laid it out: only there does the linter find its singletons.

    Two habits of the code are told and not counted. Loaders that come late do not see bound components in Qt 6.4, so
    some names are looked up at run time; and controls give their deferred parts ids.
    """
    files = sorted(glob.glob(os.path.join(ROOT, "build", "release", "qml", "Tolvik", "*", "*.qml")))
    files += [os.path.join(ROOT, path) for path in tracked("app/*.qml")]
    if len(files) < len(tracked("ui/*.qml", "app/*.qml")):
        return Result.of(False, "the build laid out fewer files than there are")
    code = step.run(["/usr/lib/qt6/bin/qmllint", "--unqualified", "info", "--deferred-property-id", "info", "-I",
                     "build/release/qml", *files])
    with open(step.path, encoding="utf-8") as file:
        warnings = sum(line.startswith(("Warning:", "Error:")) for line in file)
    return Result.of(code == 0 and warnings == 0, f"{len(files)} files, {warnings} warnings")


def demo(step):
    code = step.run(["python3", "tests/e2e/demo"], 420)
    return Result.of(code == 0, "pictures and table in build/demo" if code == 0 else f"ended with {code}")


def demo_refuses(step):
    """The demonstration with another sentence spoken must notice."""
    code = step.run(["python3", "tests/e2e/demo", "--out", "build/demo-changed", "--say-instead", "2",
                     "start watering the plants", "--stop-after", "4"], 300)
    return Result.of(code == 1, "" if code == 1 else f"ended with {code}, expected 1")


SEEDS = 2000
PLANTED = ("lost_op_id", "delete_by_absence", "wrong_order", "no_hold", "dequeue_not_saved")


def simulation(step):
    """Devices, network and server in virtual time, from many seeds."""
    code = step.run(["build/release/bin/simulation", "--seeds", f"1..{SEEDS}", "--jobs", "2"], 600)
    return Result.of(code == 0, f"{SEEDS} seeds" if code == 0 else f"ended with {code}")


def planted(step):
    """Each fault that is built in on purpose must be found."""
    result = Result()
    for name in PLANTED:
        code = step.run([f"build/release/bin/planted_{name}", "--seeds", "1..400", "--until-found", "--jobs", "2"], 120)
        result.passed += code == 0
        result.failed += code != 0
        if code != 0:
            result.said.append(f"FAILED: {name} was not found ({code})")
    return result


# Name, function, whether the rest needs it.
STEPS = [
    ("lint", lint, False),
    ("release", release, True),
    ("unit", unit, False),
    ("simulation", simulation, False),
    ("planted", planted, False),
    ("desktop", desktop, False),
    ("qml", qml, False),
    ("demo", demo, False),
    ("demo-refuses", demo_refuses, False),
    ("core-only", core_only, False),
    ("address", address, False),
    ("threads", threads, False),
    ("tidy", tidy, False),
]


def main():
    arguments = sys.argv[1:]
    names = [name for name, _, _ in STEPS]
    if "--list" in arguments:
        print("\n".join(names))
        return 0
    unknown = [name for name in arguments if name not in names]
    if unknown:
        print(f"test: no step {', '.join(unknown)}; there are {', '.join(names)}", file=sys.stderr)
        return 2
    os.environ.setdefault("HOME", os.path.join(ROOT, "build", "home"))
    return 1 if run_all(STEPS, arguments) else 0


if __name__ == "__main__":
    sys.exit(main())
