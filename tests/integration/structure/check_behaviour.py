"""Holds the fixed texts of docs/behaviour.md and of the code against each other:
check_behaviour.py SOURCE.

On the page a fixed text is a code span in double quotes; braces stand for what is filled in. In the
code it is a string literal. Texts of the section about the window need only be in the window's code,
which has others of its own; everywhere else each side must hold exactly what the other does.
"""

import pathlib
import re
import sys

LOGIC = ["src/osc", "src/headpose", "src/camera", "src/headphones", "src/app/ContentView.*",
         "src/app/InputSource.*", "src/app/OrientationQuaternion.*"]
WINDOW = ["src/app/window"]
WINDOW_SECTION = "The window"
# Literals that are no text: the marks of JSON, and the characters by which a fraction is found.
MARKS = {'{"', ',"', '":', ".in"}

# What the scanner below must tell apart; an escaped quote ends nothing.
TOKEN = re.compile(r"""(?P<raw>R"[^"(]*\()|(?P<comment>//[^\n]*|/\*.*?\*/)"""
                   r"""|(?P<include>^[ \t]*\#[^\n]*)"""
                   r"""|(?<=\w)'(?=\w)|'(?:\\.|[^'\\\n])+'"""
                   r"""|(?P<string>"(?:\\.|[^"\\\n])*"(?:\s*"(?:\\.|[^"\\\n])*")*)""",
                   re.DOTALL | re.MULTILINE | re.VERBOSE)
PART = re.compile(r'"((?:\\.|[^"\\\n])*)"')


def unescape(text):
    return re.sub(r"\\(.)", lambda match: {"n": "\n", "t": "\t", "0": "\0"}.get(match[1], match[1]),
                  text)


def literals(path):
    """The string literals of one file, those side by side joined, and their lines."""
    text = path.read_text(encoding="utf-8")
    for match in TOKEN.finditer(text):
        line = text.count("\n", 0, match.start()) + 1
        if match["raw"]:
            raise SystemExit(f"{path}:{line}: raw literals are more than this check can read")
        if match["string"]:
            value = "".join(unescape(part) for part in PART.findall(match["string"]))
            if value:
                yield value, line


def texts_of_code(source, patterns):
    """literal -> where it is, first come first."""
    found = {}
    for pattern in patterns:
        paths = sorted(source.glob(pattern if "*" in pattern else pattern + "/*"))
        sources = [path for path in paths if path.suffix in (".h", ".cpp")]
        if not sources:
            raise SystemExit(f"{pattern} is gone: say here where its texts are now")
        for path in sources:
            for value, line in literals(path):
                found.setdefault(value, f"{path.relative_to(source)}:{line}")
    return found


def texts_of_page(page):
    """(section, line, text, [its fixed pieces]) of each fixed text."""
    section = ""
    for number, line in enumerate(page.read_text(encoding="utf-8").splitlines(), 1):
        if line.startswith("## "):
            section = line[3:].strip()
        for span in re.findall(r"`([^`]*)`", line):
            if len(span) > 2 and span.startswith('"') and span.endswith('"'):
                text = span[1:-1].replace(r"\|", "|")
                yield section, number, text, [piece for piece in re.split(r"\{\w+\}", text) if piece]


def main():
    source = pathlib.Path(sys.argv[1])
    page = source / "docs/behaviour.md"
    code = texts_of_code(source, LOGIC)
    window = texts_of_code(source, WINDOW)
    wrong, told = [], set()
    for section, line, text, pieces in texts_of_page(page):
        where = window if section == WINDOW_SECTION else code
        told.update(() if where is window else pieces)
        wrong += [f'docs/behaviour.md:{line}: "{text}": no literal "{piece}" in the code'
                  for piece in pieces if piece not in where]
    wrong += [f'{code[text]}: "{text}" is not in docs/behaviour.md'
              for text in code if text not in told | MARKS]
    wrong += [f"the mark {mark} is in no code any more" for mark in sorted(MARKS - set(code))]
    print("\n".join(wrong))
    print(f"{len(told)} fixed texts and pieces of texts, {len(wrong)} differences")
    # A page or a code that nothing is found in would agree with everything.
    return 1 if wrong or len(told) < 60 else 0


if __name__ == "__main__":
    sys.exit(main())
