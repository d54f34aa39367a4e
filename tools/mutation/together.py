"""All changes of one file in one program, so that it is compiled once and not once for each.

Each function holds its body once as it is and once for each of its changes, and takes the one whose
number the environment names. A number or a text outside of functions becomes a choice. Other changes
outside of functions, and those that take a result away, are not for this: they are compiled apart.
"""

import re

from . import changes

VARIABLE = "VELMARO_MUTANT"
# Read before any other code runs, that of static objects too.
SELECTOR = f"""#include <cstdlib>
int velmaroMutant = 0;
__attribute__((constructor(101))) static void choose() {{
    if (const char* const number = std::getenv("{VARIABLE}")) velmaroMutant = std::atoi(number);
}}
"""


def suitable(text, mutants):
    """The changes that can be chosen at run time: {number from 1: (mutant, span of what is held twice)}.

    A span is a function's body, or a number or text outside of all of them.
    """
    found = {}
    bodies = changes.function_bodies(text)
    masked = changes.mask(text)
    for mutant in mutants:
        span = next((body for body in bodies if body[0] <= mutant.start and mutant.end <= body[1]),
                    None)
        if not span and mutant.kind == "text":
            span = masked.rindex('"', 0, mutant.start), mutant.end + 1
        elif not span and (mutant.kind == "constant" and text[mutant.start - 1] != "'"
                           or mutant.text in ("true", "false")):
            span = mutant.start, mutant.end
        # A function that ends without its result must be refused by the compiler.
        if span and not (text.startswith("return ", mutant.start) and not mutant.text.strip(";")
                         and re.match(r"[\s}]*($|[);,])", text[mutant.end:span[1]])):
            found[len(found) + 1] = (mutant, span)
    return found


def source(path, text, chosen):
    """`text` with each of `chosen`, as `suitable` returns them, to be chosen at run time."""
    parts = ["extern int velmaroMutant;\n", f'#line 1 "{path}"\n']
    done = 0
    bodies = changes.function_bodies(text)
    for start, end in sorted({span for _, span in chosen.values()}):
        parts.append(_without_constexpr(text[done:start]))
        line = text.count("\n", 0, start) + 1
        for number, (mutant, span) in chosen.items():
            if span != (start, end):
                continue
            shift = len(mutant.text) - (mutant.end - mutant.start)
            changed = mutant.of(text)[start:end + shift]
            if span in bodies:
                parts.append(f'if (velmaroMutant == {number}) {{\n'
                             f'#line 1 "mutant-{number}"\n{changed}\n}} else ')
            else:
                parts.append(f'\n#line 1 "mutant-{number}"\nvelmaroMutant == {number} ? {changed} : ')
        original = f'\n#line {line} "{path}"\n{text[start:end]}'
        parts.append(f"{{{original}}}" if (start, end) in bodies else original)
        done = end
    return "".join([*parts, _without_constexpr(text[done:])])


def _without_constexpr(text):
    """What is chosen at run time is not known to the compiler."""
    # The = of an operator's name begins no value.
    text = re.sub(r"^(\s*(?:inline )?)constexpr (?!.*\boperator)(?=[^()\n]*[={])", r"\1const ", text,
                  flags=re.M)
    return re.sub(r"^(\s*)(?:inline )?constexpr (?=.*\()", r"\1inline ", text, flags=re.M)


def refused(errors):
    """The numbers of the changes of which the compiler complains.

    A complaint about shared code, a template for one, names in its notes who asked for it.
    """
    messages = re.split(r"^(?=\S*?:\d+:\d+: (?:fatal )?error: )", errors, flags=re.M)
    numbers = (re.search(r"\bmutant-(\d+):", message) for message in messages)
    return {int(number.group(1)) for number in numbers if number}
