"""Compiles, links and runs the tests of one room of the logic with one file changed."""

import collections
import hashlib
import json
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess

from . import together

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
WORK = ROOT / "build/mutate"
# As the release build, but that each file is compiled by itself.
BUILD = WORK / "release"
SOURCES = {
    "osc": ["src/osc/*"],
    "headpose": ["src/headpose/*"],
    "camera": ["src/camera/*"],
    "headphones": ["src/headphones/*"],
    "app": ["src/app/ContentView.*", "src/app/InputSource.*", "src/app/OrientationQuaternion.*"],
}
# A change can make a test run or wait for ever. The tests of a room take a tenth of a second of a
# core; the clock on the wall has to allow for a machine that does other things.
TEST_SECONDS_OF_CORE = 5
TEST_SECONDS = 120
TEST_BYTES = 4 << 30
PASSED = "passed"


def run(command, **options):
    return subprocess.run(command, capture_output=True, text=True, errors="replace", **options)


def must(command, **options):
    result = run(command, **options)
    if result.returncode:
        raise SystemExit(f"{shlex.join(map(str, command))}\n{result.stdout[-3000:]}{result.stderr}")
    return result.stdout


def configure():
    """How each source is compiled: {source: (command, object)}."""
    WORK.mkdir(exist_ok=True)
    if (BUILD / "build.ninja").exists():
        must(["ninja", "-C", BUILD, "build.ninja"])
    else:
        must(["cmake", "--preset", "release", "-B", BUILD, "-DCMAKE_UNITY_BUILD=OFF"], cwd=ROOT)
    entries = json.loads((BUILD / "compile_commands.json").read_text(encoding="utf-8"))
    commands = {entry["file"]: shlex.split(entry["command"]) for entry in entries}
    return {source: (command, command[command.index("-o") + 1])
            for source, command in commands.items() if "-o" in command}


def fingerprint(paths):
    """Another text as soon as one of the files is another."""
    return hashlib.sha256(b"".join(pathlib.Path(path).read_bytes()
                                   for path in sorted(paths))).hexdigest()


class Room:
    def __init__(self, name, compile_commands):
        self.name = name
        target = f"test_{name}"
        must(["cmake", "--build", BUILD, "--target", target])
        link = must(["ninja", "-C", str(BUILD), "-t", "commands", f"bin/{target}"])
        commands = [part.strip() for part in link.strip().splitlines()[-1].split("&&")]
        self.link = shlex.split(next(part for part in commands if f"-o bin/{target}" in part))
        if shutil.which("ld.lld"):
            self.link.insert(1, "-fuse-ld=lld")
        self.sources = [path for pattern in SOURCES[name] for path in sorted(ROOT.glob(pattern))
                        if path.suffix in (".cpp", ".h")]
        self.compile = compile_commands
        # The code that the optimiser makes of a source as it is: {(source, file with changes): code}.
        self.unchanged = {}
        # Which objects a changed header is compiled into: the room's own and its tests'.
        self.readers, files = collections.defaultdict(list), set()
        for source, (_, output) in compile_commands.items():
            if output in self.link or source in map(str, self.sources):
                read = must(["ninja", "-C", str(BUILD), "-t", "deps", output]).splitlines()
                # Headers are reached by links in the build folder.
                for path in {os.path.realpath(BUILD / line.strip()) for line in read[1:]}:
                    self.readers[pathlib.Path(path)].append(source)
                    files.add(path)
        self.logic = fingerprint(path for path in files if path.startswith(f"{ROOT}/src"))
        self.fingerprint = self.logic + fingerprint(path for path in files
                                                    if path.startswith(f"{ROOT}/tests"))

    def _command(self, source, made, level="-O0"):
        """The command that compiles one of the room's own sources into `made`.

        Clang reads and generates unoptimised code in a quarter of the time.
        """
        command, output = self.compile[source]
        kept = [made if part == output else part for part in command[1:]
                if not re.match(r"-O\d|-Werror$|-W|-D_FORTIFY_SOURCE|-fstack|-fcf", part)]
        return ["clang++", level, *kept]

    def compile_with(self, source, path, changed, made, level="-O0", more=()):
        """The compiler's answer to `source` made into `made`, with `changed` in the place of `path`."""
        if source in map(str, self.sources):
            command = self._command(source, str(made), level)
            command += ["-Wno-everything", "-Werror=return-type", *more]
        else:
            # A test is unoptimised as it is.
            original, output = self.compile[source]
            command = [str(made) if part == output else part for part in original]
            command += ["-w", "-Wno-error"]
        command = [str(changed) if part == str(path) else part for part in command]
        return run([*command, "-iquote", str(changed.parent.parent)], cwd=BUILD)

    def sources_with(self, path):
        """What `path` is compiled into, the room's own first."""
        return sorted([str(path)] if path.suffix == ".cpp" else self.readers[path],
                      key=lambda source: not source.startswith(f"{ROOT}/src"))

    def linked(self, objects, folder):
        """The command that links the tests with `objects`, {source: object}, in the place of theirs."""
        link = list(self.link)
        link[link.index("-o") + 1] = str(folder / "test")
        first = next(index for index, part in enumerate(link) if part.endswith(".o"))
        for source, made in objects.items():
            if self.compile[source][1] in link:
                link.remove(self.compile[source][1])
            link.insert(first, made)
        return link

    def end_apart(self, path, mutant, folder):
        """How the tests end with the change compiled by itself, or 'does not compile'."""
        folder = pathlib.Path(folder)
        text = path.read_text(encoding="utf-8")
        changed = folder / path.relative_to(ROOT)
        changed.parent.mkdir(parents=True, exist_ok=True)
        changed.write_text(mutant.of(text), encoding="utf-8")
        # A changed header goes into one object after the other: unoptimised, an inline function is
        # taken from the first object that holds it, so the first one often tells.
        sources, objects = self.sources_with(path), {}
        for number, source in enumerate(sources):
            objects[source] = str(folder / f"{number}.o")
            if self.compile_with(source, path, changed, objects[source]).returncode:
                return "does not compile"
            if run(self.linked(objects, folder), cwd=BUILD).returncode:
                return "does not compile"
            end = end_of_tests(folder)
            if end != PASSED:
                return end
        return PASSED

    def is_same_code(self, path, mutant, folder):
        """Whether the optimiser makes the same of the change, so that no test could tell."""
        folder = pathlib.Path(folder)
        text = path.read_text(encoding="utf-8")
        changed = folder / path.relative_to(ROOT)
        changed.parent.mkdir(parents=True, exist_ok=True)
        return all(self._same_code(source, path, changed, mutant, text)
                   for source in self.sources_with(path))

    def _same_code(self, source, path, changed, mutant, text):
        made = changed.with_suffix(".o")

        def optimised(content):
            changed.write_text(content, encoding="utf-8")
            if self.compile_with(source, path, changed, made, "-O2").returncode:
                raise SystemExit(f"{source} compiles unoptimised only, with {mutant}")
            return made.read_bytes()

        if (source, path) not in self.unchanged:
            self.unchanged[source, path] = optimised(text)
        return optimised(mutant.of(text)) == self.unchanged[source, path]


def end_of_tests(folder, number=0):
    """How the program in `folder` ends, with the change of that number if it holds many.

    PASSED, 'killed' by a test that failed, or 'no end' if it took all the time that it was given.
    """
    command = ["prlimit", f"--cpu={TEST_SECONDS_OF_CORE}", f"--as={TEST_BYTES}", "--core=0",
               folder / "test", "--gtest_brief=1", "--gtest_fail_fast"]
    try:
        status = run(command, cwd=folder, timeout=TEST_SECONDS,
                     env={**os.environ, together.VARIABLE: str(number)}).returncode
    except subprocess.TimeoutExpired:
        return "no end"
    if status in (-signal.SIGXCPU, -signal.SIGKILL):
        return "no end"
    return "killed" if status else PASSED
