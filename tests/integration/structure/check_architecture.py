"""Asserts that what docs/architecture.md names exists: check_architecture.py SOURCE.

Code spans that begin with a folder of the project are paths. In the drawings a word with a slash is a
class, which stands for its header below src/. A name of a class or a function in a code span must
occur in src/ or cmake/.
"""

import pathlib
import re
import sys

DRAWN = re.compile(r"(?<![\w/])((?:[a-z]+/)+[A-Z]\w+)")


def main():
    source = pathlib.Path(sys.argv[1])
    page = (source / "docs/architecture.md").read_text(encoding="utf-8")
    folders = {path.name for path in source.iterdir() if path.is_dir()}
    code = "\n".join(path.read_text(encoding="utf-8") for folder in ("src", "cmake")
                     for path in sorted((source / folder).rglob("*"))
                     if path.suffix in (".h", ".cpp", ".cmake"))
    paths, drawn, names = set(), set(), set()
    for index, part in enumerate(re.split(r"^```\n", page, flags=re.MULTILINE)):
        if index % 2:
            drawn.update(DRAWN.findall(part))
            continue
        for span in re.findall(r"`([^`\n]+)`", part):
            if span.split("/")[0] in folders and "/" in span:
                paths.add(span)
            elif re.fullmatch(r"\w+(\.h|\.txt)?|velmaro_room\(\.\.\.\)", span):
                names.add(re.sub(r"\W.*", "", span))
    wrong = [f"{path} is not there" for path in sorted(paths) if not (source / path).exists()]
    wrong += [f"src/{name}.h is not there" for name in sorted(drawn)
              if not (source / "src" / f"{name}.h").exists()]
    wrong += [f"nothing is called {name}" for name in sorted(names)
              if not re.search(rf"\b{name}\b", code) and not list(source.glob(f"src/**/{name}.*"))]
    print("\n".join(wrong))
    print(f"{len(paths)} paths, {len(drawn)} classes drawn, {len(names)} names, {len(wrong)} wrong")
    # A page in which nothing is found would always be right.
    return 1 if wrong or len(paths) < 20 or len(drawn) < 10 or len(names) < 5 else 0


if __name__ == "__main__":
    sys.exit(main())
