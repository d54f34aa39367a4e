"""The small changes that tools/mutate makes to a C++ file, found in its text alone.

They rely on clang-format's spacing to tell a comparison from a template. A change that does not
compile is no harm: it is not counted.
"""

import dataclasses
import math
import re
import struct

COMPARISONS = {" < ": (" <= ", " >= "), " > ": (" >= ", " <= "), " <= ": (" < ", " > "),
               " >= ": (" > ", " < "), " == ": (" != ",), " != ": (" == ",)}
ARITHMETIC = {" + ": (" - ",), " - ": (" + ",), " * ": (" / ",), " / ": (" * ",),
              " % ": (" / ",), " += ": (" -= ",), " |= ": (" &= ",), " ^ ": (" | ",),
              " >> ": (" << ",), " -= ": (" += ",)}
LOGIC = {" && ": (" || ",), " || ": (" && ",)}
WORDS = {"true": "false", "false": "true", "userInitiated": "standard", "standard": "userInitiated",
         "failed": "cancelled", "cancelled": "failed", "ready": "preparing", "fmin": "fmax",
         "fmax": "fmin", "sin": "cos", "cos": "sin", "front": "back", "weak_from_this": None}
MEMBERS = {"x": "y", "y": "z", "z": "w", "w": "x"}
NUMBER = re.compile(r"(?<![\w.'])(0x[0-9A-Fa-f']+|[0-9][0-9']*(?:\.[0-9]+)?(?:e[-+]?[0-9]+)?)"
                    r"(F|U|UL|L)?(?![\w.'])")
DECLARATION = re.compile(r"(?:const|auto|constexpr|static|using|typedef|friend|template|struct|class)\b"
                         r"|[\w:<>,&*\[\] ]*[\w>&*] [*&]*\w+\s*(?:[={;(]|$)")
FUNCTION_HEAD = re.compile(r"(?:\)|\bconst|\belse|\boverride|\bnoexcept|\bdo|\]|\bmutable|:)\s*$")


@dataclasses.dataclass(frozen=True)
class Mutant:
    """`start` to `end` of the text becomes `text`; `line` counts from 1."""
    line: int
    kind: str
    start: int
    end: int
    text: str

    def of(self, text):
        """`text` with the change made."""
        return text[:self.start] + self.text + text[self.end:]


def mask(text):
    """`text` with comments, preprocessor lines and what stands in quotes blanked, lengths kept."""
    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|^[ \t]*#[^\n]*|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'',
                         re.DOTALL | re.MULTILINE)

    def blank(match):
        found = match.group()
        if found[0] in "\"'":
            return found[0] + "_" * (len(found) - 2) + found[0]
        return re.sub(r"[^\n]", " ", found)
    return pattern.sub(blank, text)


def _next_number(token, suffix):
    """What else the number may be: its neighbour, and for whole ones also nothing."""
    if "." in token or "e" in token and not token.startswith("0x"):
        value = float(token.replace("'", ""))
        if suffix == "F":
            bits = struct.unpack("<I", struct.pack("<f", value))[0]
            after = struct.unpack("<f", struct.pack("<I", bits + 1))[0]
        else:
            after = math.nextafter(value, math.inf)
        return [repr(after) + suffix, repr(value * 1.25 + 0.5) + suffix]
    value = int(token.replace("'", ""), 0)
    return [str(other) + suffix for other in sorted({value + 1, value - 1, 0}) if 0 <= other != value]


def _statements(masked):
    """Runs of the simple statements in one block of a function: [[(start, end), ...], ...]."""
    runs, stack = [], [["{", 0, False, []]]
    for position, character in enumerate(masked):
        frame = stack[-1]
        if character in "([":
            stack.append([character, position + 1, False, []])
        elif character in ")]" and len(stack) > 1:
            stack.pop()
        elif character == "{":
            head = masked[frame[1]:position]
            inside = bool(FUNCTION_HEAD.search(head)) and not re.search(
                r"\b(?:class|struct|namespace|enum)\b[^()]*$", head)
            stack.append(["{", position + 1, inside, []])
        elif character == "}" and len(stack) > 1:
            runs.append(stack.pop()[3])
            parent = stack[-1]
            after = masked[position + 1:position + 40].lstrip()
            if parent[0] == "{" and not after.startswith((";", ",", ")", ".")):
                runs.append(parent[3])
                parent[3] = []
                parent[1] = position + 1
        elif character == ";" and frame[0] == "{":
            start = frame[1]
            label = re.match(r"\s*(?:(?:case [^;]*?[^:]|default):(?!:)\s*)*", masked[start:position])
            start += label.end()
            start += len(masked[start:]) - len(masked[start:].lstrip())
            if frame[2] and start < position:
                frame[3].append((start, position + 1))
            frame[1] = position + 1
    return [run for run in runs if run]


def function_bodies(text):
    """The span between the braces of each function, not of those inside one: [(start, end), ...]."""
    found, stack, head = [], [], 0
    masked = mask(text)
    for position, character in enumerate(masked):
        if character == "{":
            begins = (all(kind == "scope" for kind, _ in stack)
                      and FUNCTION_HEAD.search(masked[head:position]))
            scope = re.search(r"\b(?:class|struct|namespace)\b[^()]*$", masked[head:position])
            stack.append(("scope" if scope else "function" if begins else "other", position + 1))
            head = position + 1
        elif character == "}" and stack:
            kind, start = stack.pop()
            if kind == "function":
                found.append((start, position))
            head = position + 1
        elif character == ";":
            head = position + 1
    return found


def _conditions(masked):
    """The span of each condition of an `if`, and of what stands before each `?`."""
    for match in re.finditer(r"\b(?:if|while) \(", masked):
        depth, end = 1, match.end()
        while depth:
            depth += {"(": 1, ")": -1}.get(masked[end], 0)
            end += 1
        inside = masked[match.end():end - 1]
        if ";" not in inside and " = " not in inside:
            yield match.end(), end - 1
    for match in re.finditer(r" \? ", masked):
        start, depth = match.start(), 0
        while depth > 0 or not (masked[start - 1] in "({,;[" or masked[start - 2:start] in ("= ", ": ")
                                or masked[start - 7:start] == "return "):
            start -= 1
            depth += {")": 1, "(": -1}.get(masked[start], 0)
        yield start, match.start()


def _change_statements(text, masked, add):
    """Removes each, and swaps each with the next."""
    for run in _statements(masked):
        plain = [span for span in run if not DECLARATION.match(masked[slice(*span)])
                 or masked[slice(*span)].startswith(("return", "break"))]
        for start, end in plain:
            if not masked[start:end].startswith("assert"):
                add("statement removed", start, end, ";")
        ordered = [span for span in run if not masked[slice(*span)].startswith("return")]
        for first, second in zip(ordered, ordered[1:]):
            declared = [DECLARATION.match(masked[slice(*span)]) for span in (first, second)]
            if not any(declared) and masked[first[1]:second[0]].strip() == "":
                add("order swapped", first[0], second[1],
                    text[slice(*second)] + text[first[1]:second[0]] + text[slice(*first)])


def mutants(text):
    """Every change of `text`, in the order of its lines."""
    masked = mask(text)
    found = {}

    def add(kind, start, end, new):
        if text[start:end] != new and "assert(" not in text[text.rfind("\n", 0, start) + 1:start + 8]:
            line = text.count("\n", 0, start) + 1
            found.setdefault((start, end, new), Mutant(line, kind, start, end, new))

    for kind, table in (("comparison", COMPARISONS), ("arithmetic", ARITHMETIC), ("logic", LOGIC)):
        for old, others in table.items():
            for match in re.finditer(re.escape(old), masked):
                for new in others:
                    add(kind, match.start(), match.end(), new)
    for match in re.finditer(r"(?<=[(,={ ])-(?=[\w(])(?<!\w -)", masked):
        add("sign", match.start(), match.end(), "")
    for match in re.finditer(r"!(?=[\w(])", masked):
        add("logic", match.start(), match.end(), "")
    for match in re.finditer(r"\b\w+\b", masked):
        other = WORDS.get(match.group())
        if other:
            add("word", match.start(), match.end(), other)
    for match in re.finditer(r"(?<=[\w\])]\.)([xyzw])\b(?!\()", masked):
        add("member", match.start(), match.end(), MEMBERS[match.group()])
    for match in NUMBER.finditer(masked):
        for new in _next_number(match.group(1), match.group(2) or ""):
            add("constant", match.start(), match.end(), new)
    for match in re.finditer(r'"_*"', masked):
        add("text", match.end() - 1, match.end() - 1, "~")
    for match in re.finditer(r"'_'", masked):
        if text[match.start() + 1] != "\\":
            add("constant", match.start() + 1, match.end() - 1, chr(ord(text[match.start() + 1]) + 1))
    for match in re.finditer(r"(?<=[(,{])( ?)([\w.>-]+), ([\w.>-]+)(?=[,)}])", masked):
        add("arguments swapped", match.start(), match.end(), f"{match[1]}{match[3]}, {match[2]}")
    for start, end in _conditions(masked):
        for value in ("true", "false"):
            add("condition", start, end, value)
    _change_statements(text, masked, add)
    return sorted(found.values(), key=lambda mutant: (mutant.line, mutant.start))
