"""Programs that hold many changes of one file, compiled once and kept until they would be others."""

import hashlib
import json
import shutil
import tempfile
import threading

from . import changes, rooms, together

# So many changes of a file are not worth a program that holds them all.
FEW = 4
FLAGS = ["-ferror-limit=0", "-Wno-error=return-type"]


class Program:
    """The tests of a room with the changes of one file, of which one is chosen for each run."""

    def __init__(self, room, path, mutants):
        self.room, self.path = room, path
        self.text = path.read_text(encoding="utf-8")
        self.folder = rooms.WORK / "together" / room.name / path.name
        self.changed = self.folder / path.relative_to(rooms.ROOT)
        self.sources = room.sources_with(path)
        self.lock = threading.Lock()
        self.stages = []
        found = together.suitable(self.text, mutants)
        self.numbers = {}
        if len(found) >= FEW:
            kept = self._kept(found)
            self.numbers = {mutant: number if number in kept["held"] else None
                            for number, (mutant, _) in found.items()
                            if number not in kept["apart"]}

    def __contains__(self, mutant):
        return mutant in self.numbers

    def end(self, mutant):
        """How the tests end with the change, or 'does not compile'. Any thread."""
        number = self.numbers[mutant]
        if number is None:
            return "does not compile"
        # A changed header goes into one object after the other, and only as far as it must:
        # unoptimised, an inline function is taken from the first object that holds it.
        for stage in range(len(self.sources)):
            with self.lock:
                linked = self._stage(stage)
            if not linked:
                with tempfile.TemporaryDirectory() as apart:
                    return self.room.end_apart(self.path, mutant, apart)
            end = rooms.end_of_tests(linked, number)
            if end != rooms.PASSED:
                return end
        return rooms.PASSED

    def _kept(self, found):
        """The numbers that the program holds, and those of changes to be compiled apart."""
        everything = together.source(self.path, self.text, found)
        key = [self.room.logic, hashlib.sha256(everything.encode()).hexdigest()]
        file = self.folder / "kept.json"
        last = json.loads(file.read_text(encoding="utf-8")) if file.exists() else {"key": None}
        if last["key"] != key:
            shutil.rmtree(self.folder, ignore_errors=True)
            self.changed.parent.mkdir(parents=True)
            last = {"key": key, **self._compile_first(found)}
            file.write_text(json.dumps(last), encoding="utf-8")
        return last

    def _compile_first(self, found):
        held, apart = dict(found), set()
        bodies = changes.function_bodies(self.text)
        while held:
            self.changed.write_text(together.source(self.path, self.text, held), encoding="utf-8")
            answer = self._compile(0)
            if answer.returncode == 0:
                break
            wrong = together.refused(answer.stderr)
            if not wrong:
                # The compiler must know some number.
                wrong = {number for number, (_, span) in held.items() if span not in bodies}
                apart |= wrong
            if not wrong:
                apart |= set(held)
                wrong = set(held)
            held = {number: each for number, each in held.items() if number not in wrong}
        selector = self.folder / "selector.cpp"
        selector.write_text(together.SELECTOR, encoding="utf-8")
        rooms.must(["clang++", "-c", "-fPIC", selector, "-o", self.folder / "selector.o"])
        return {"held": sorted(held), "apart": sorted(apart)}

    def _object(self, stage):
        return str(self.folder / f"{stage}.o")

    def _compile(self, stage):
        return self.room.compile_with(self.sources[stage], self.path, self.changed,
                                      self._object(stage), "-O0", FLAGS)

    def _stage(self, stage):
        """The folder of the program with the changes in the first objects; None if there is none."""
        while len(self.stages) <= stage:
            number = len(self.stages)
            folder = self.folder / f"stage-{number}"
            folder.mkdir(exist_ok=True)
            # A test of before may be in the object that is there.
            compiled = number == 0 or self._compile(number).returncode == 0
            objects = {source: self._object(index)
                       for index, source in enumerate(self.sources[:number + 1])}
            link = self.room.linked(objects, folder) + [str(self.folder / "selector.o")]
            # Nothing chosen, it is what it was.
            works = (compiled and rooms.run(link, cwd=rooms.BUILD).returncode == 0
                     and rooms.end_of_tests(folder) == rooms.PASSED)
            self.stages.append(folder if works else None)
        return self.stages[stage]
