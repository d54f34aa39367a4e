"""Compiles, links and runs the tests of one room of the logic with one file changed."""

import collections
import hashlib
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess

from . import changes, together

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
# Everything but what is changed is that of the release build.
BUILD = ROOT / "build/release"
WORK = ROOT / "build/mutate"
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
# So many changes of a file are not worth a program that holds them all.
FEW = 4


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
    must(["cmake", "--preset", "release"], cwd=ROOT)
    entries = json.loads((BUILD / "compile_commands.json").read_text(encoding="utf-8"))
    commands = {entry["file"]: shlex.split(entry["command"]) for entry in entries}
    return {source: (command, command[command.index("-o") + 1])
            for source, command in commands.items() if "-o" in command}


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
        # Which objects a changed header is compiled into: the room's own and its tests'.
        self.readers, files = collections.defaultdict(list), set()
        for source, (_, output) in compile_commands.items():
            if output in self.link or source in map(str, self.sources):
                read = must(["ninja", "-C", str(BUILD), "-t", "deps", output]).splitlines()
                # Headers are reached by links in the build folder.
                for path in {os.path.realpath(BUILD / line.strip()) for line in read[1:]}:
                    self.readers[pathlib.Path(path)].append(source)
                    files.add(path)
        self.fingerprint = hashlib.sha256(b"".join(
            pathlib.Path(path).read_bytes() for path in sorted(files)
            if path.startswith((f"{ROOT}/src", f"{ROOT}/tests")))).hexdigest()

    def _command(self, source, made, level="-O0"):
        """The command that compiles one of the room's own sources into `made`.

        Clang reads and generates unoptimised code in a quarter of the time.
        """
        command, output = self.compile[source]
        kept = [made if part == output else part for part in command[1:]
                if not re.match(r"-O\d|-Werror$|-W|-D_FORTIFY_SOURCE|-fstack|-fcf", part)]
        return ["clang++", level, *kept]

    def _compile(self, source, path, changed, made, level="-O0", more=()):
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

    def _sources_with(self, path):
        """What `path` is compiled into, the room's own first."""
        return sorted([str(path)] if path.suffix == ".cpp" else self.readers[path],
                      key=lambda source: not source.startswith(f"{ROOT}/src"))

    def _linked(self, path, objects, folder):
        """The command that links the tests with `objects` in the place of what `path` is in."""
        link = list(self.link)
        link[link.index("-o") + 1] = str(folder / "test")
        first = next(index for index, part in enumerate(link) if part.endswith(".o"))
        for source, made in objects.items():
            if self.compile[source][1] in link:
                link.remove(self.compile[source][1])
            link.insert(first, made)
        return link

    def together(self, path, mutants, folder):
        """A program in `folder` that holds many of the changes of `path`.

        The result is {mutant: number in the program, None if it does not compile}, and lacks those
        that must be compiled apart.
        """
        text = path.read_text(encoding="utf-8")
        changed = folder / path.relative_to(ROOT)
        changed.parent.mkdir(parents=True, exist_ok=True)
        found = together.suitable(text, mutants)
        if len(found) < FEW:
            return {}
        held, sources = dict(found), self._sources_with(path)
        bodies = changes.function_bodies(text)
        flags = ["-ferror-limit=0", "-Wno-error=return-type"]
        while held:
            changed.write_text(together.source(path, text, held), encoding="utf-8")
            answer = self._compile(sources[0], path, changed, folder / "0.o", "-O0", flags)
            if answer.returncode == 0:
                break
            wrong = together.refused(answer.stderr)
            if not wrong:
                # The compiler must know some number.
                wrong = {number for number, (_, span) in held.items() if span not in bodies}
                found = {number: found[number] for number in found if number not in wrong}
            if not wrong:
                return {}
            held = {number: each for number, each in held.items() if number not in wrong}
        objects = {source: str(folder / f"{index}.o") for index, source in enumerate(sources)}
        if any(self._compile(source, path, changed, made, "-O0", flags).returncode
               for source, made in list(objects.items())[1:]):
            return {}
        selector = folder / "selector.cpp"
        selector.write_text(together.SELECTOR, encoding="utf-8")
        must(["clang++", "-c", "-fPIC", selector, "-o", folder / "selector.o"])
        link = self._linked(path, objects, folder) + [str(folder / "selector.o")]
        # Nothing chosen, it is what it was.
        if run(link, cwd=BUILD).returncode or not passes(folder):
            return {}
        return {mutant: number if number in held else None
                for number, (mutant, _) in found.items()}

    def outcome(self, path, mutant, folder):
        """'killed', 'survived', 'same code' or 'does not compile'."""
        text = path.read_text(encoding="utf-8")
        changed = folder / path.relative_to(ROOT)
        changed.parent.mkdir(parents=True, exist_ok=True)
        changed.write_text(mutant.of(text), encoding="utf-8")
        # A changed header goes into one object after the other: unoptimised, an inline function is
        # taken from the first object that holds it, so the first one often tells.
        sources, objects = self._sources_with(path), {}
        for number, source in enumerate(sources):
            objects[source] = str(folder / f"{number}.o")
            if self._compile(source, path, changed, objects[source]).returncode:
                return "does not compile"
            if run(self._linked(path, objects, folder), cwd=BUILD).returncode:
                return "does not compile"
            if not passes(folder):
                return "killed"
        same = all(self._same_code(source, path, changed, mutant, text) for source in sources)
        return "same code" if same else "survived"

    def _same_code(self, source, path, changed, mutant, text):
        """Whether the optimiser makes the same of both, so that no test could tell."""
        made = changed.with_suffix(".o")
        objects = []
        for each in (text, mutant.of(text)):
            changed.write_text(each, encoding="utf-8")
            if self._compile(source, path, changed, made, "-O2").returncode:
                raise SystemExit(f"{source} compiles unoptimised only, with {mutant}")
            objects.append(made.read_bytes())
        return objects[0] == objects[1]


def passes(folder, number=0):
    """Whether the program in `folder` passes, with the change of that number if it holds many."""
    command = ["prlimit", f"--cpu={TEST_SECONDS_OF_CORE}", f"--as={TEST_BYTES}", "--core=0",
               folder / "test", "--gtest_brief=1", "--gtest_fail_fast"]
    try:
        return run(command, cwd=folder, timeout=TEST_SECONDS,
                   env={**os.environ, together.VARIABLE: str(number)}).returncode == 0
    except subprocess.TimeoutExpired:
        return False
