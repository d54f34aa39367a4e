"""That --help, the manual pages and the completions of three shells name the same options, and that
the completions work: test_options.py BUILD COMPLETIONS."""

import os
import re
import subprocess
import sys
import tempfile
import unittest

BUILD = COMPLETIONS = ""
PROGRAMS = ("velmaro", "velmaro-cli")


def program(name):
    return os.path.join(BUILD, "bin", name)


def shown(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout


def options_of(name):
    return set(re.findall(r"^  (--[a-z-]+)", shown(program(name), "--help"), re.M))


def bash(name, *words, folder="."):
    """What bash would offer for the last word."""
    script = """
        source /usr/share/bash-completion/bash_completion; source "$1/velmaro.bash"; shift
        PATH=$1:$PATH; shift
        COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMP_LINE="$*"; COMP_POINT=${#COMP_LINE}
        _velmaro "$1" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
        printf '%s\\n' "${COMPREPLY[@]}" """
    return [line for line in shown("bash", "-c", script, "bash", COMPLETIONS,
                                   os.path.join(BUILD, "bin"), name, *words,
                                   cwd=folder).splitlines() if line]


def fish(name, line):
    """What fish would offer for the end of the line."""
    with tempfile.TemporaryDirectory() as home:
        place = os.path.join(home, name + ".fish")
        os.symlink(os.path.join(COMPLETIONS, "velmaro.fish"), place)
        offered = shown("fish", "--no-config", "-c",
                        f"source {place}; complete -C '{line}'",
                        env={**os.environ, "HOME": home,
                             "PATH": os.path.join(BUILD, "bin") + ":" + os.environ["PATH"]})
    return [each.split("\t")[0] for each in offered.splitlines()]


class OptionsTest(unittest.TestCase):
    def assert_names_all(self, named, name, file, example):
        """That `named`, found in the file of that name, are the options of the program's --help."""
        existing = options_of(name)
        advice = [f"{name} --help lists {each}, but packaging/{file} does not: add it there, as"
                  f" {example}" for each in sorted(existing - named)]
        advice += [f"packaging/{file} names {each}, but {name} --help does not: remove it there"
                   for each in sorted(named - existing)]
        self.assertEqual(named, existing, "\n" + "\n".join(advice))

    def test_help_names_some(self):
        self.assertGreater(len(options_of("velmaro")), 15)
        self.assertEqual(options_of("velmaro-cli") - options_of("velmaro"),
                         {"--duration", "--stats"})

    def test_the_manual_names_the_same(self):
        for name in PROGRAMS:
            page = os.path.join(BUILD, "packaging/man", name + ".1")
            with open(page, encoding="utf-8") as file:
                named = set(re.findall(r"^\.It Fl Fl ([a-z-]+)", file.read(), re.M))
            self.assert_names_all({"--" + each for each in named}, name, "man/options.mdoc",
                                  "'.It Fl Fl motion-udp Ar port', and build velmaro_manual and"
                                  " velmaro-cli_manual")

    def test_bash_offers_the_same(self):
        for name in PROGRAMS:
            self.assert_names_all(set(bash(name, "--")), name, "completions/velmaro.bash",
                                  "--motion-udp: to the list, and if it takes a value, to a case")

    def test_fish_offers_the_same(self):
        for name in PROGRAMS:
            self.assert_names_all(set(fish(name, name + " --")), name, "completions/velmaro.fish",
                                  "-l motion-udp -x, without -x if it takes no value")

    def test_zsh_names_the_same(self):
        with open(os.path.join(COMPLETIONS, "_velmaro"), encoding="utf-8") as file:
            text = file.read()
        named = set(re.findall(r"""^\s*['"](?:\([^)]*\)|\*)?(--[a-z-]+)\[""", text, re.M))
        self.assert_names_all(named, "velmaro-cli", "completions/_velmaro",
                              "--motion-udp, with nothing behind ] if it takes no value")

    def test_bash_offers_sources_and_files(self):
        self.assertEqual(bash("velmaro-cli", "--demo", "--input", "camera_"), ["camera_demo"])
        with tempfile.TemporaryDirectory() as folder:
            open(os.path.join(folder, "my clip.webm"), "w", encoding="utf-8").close()
            self.assertEqual(bash("velmaro-cli", "--camera-file", "my", folder=folder),
                             ["my clip.webm"])
        self.assertEqual(bash("velmaro-cli", "--rate", ""), ["30", "60"])
        self.assertEqual(bash("velmaro-cli", "--rotate", ""), ["90", "180", "270"])
        self.assertEqual(bash("velmaro-cli", "--receiver", "s"), ["sparta", "supercollider"])
        self.assertEqual(bash("velmaro-cli", "--port", ""), [])

    def test_bash_runs_nothing_of_the_line(self):
        with tempfile.TemporaryDirectory() as folder:
            bash("velmaro-cli", "--camera-file", "$(touch ran)", "--input", "", folder=folder)
            self.assertEqual(os.listdir(folder), [])

    def test_fish_offers_sources(self):
        self.assertIn("camera_demo", fish("velmaro-cli", "velmaro-cli --demo --input "))

    def test_fish_offers_receivers(self):
        self.assertEqual(fish("velmaro-cli", "velmaro-cli --receiver s"),
                         ["sparta", "supercollider"])


if __name__ == "__main__":
    BUILD, COMPLETIONS = sys.argv[1:3]
    del sys.argv[1:3]
    unittest.main(verbosity=2)
