"""The Debian packages of a build: test_packages.py FOLDER."""

import glob
import os
import re
import subprocess
import sys
import unittest

from test_install import TERMINAL, WINDOW

FOLDER = ""


def shown(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def package(name):
    found = glob.glob(os.path.join(FOLDER, name + "_*.deb"))
    assert len(found) == 1, f"one package {name} in {FOLDER}, not {found}"
    return found[0]


def files(name):
    """Path to (mode, owner) of all that is not a folder."""
    entries = {}
    for line in shown("dpkg-deb", "-c", package(name)).splitlines():
        mode, owner, _, _, _, path = line.split(maxsplit=5)
        if mode.startswith("d"):
            assert (mode, owner) == ("drwxr-xr-x", "root/root"), line
        else:
            entries[path.removeprefix("./usr/")] = (mode, owner)
    return entries


def expected(name, installed):
    """As Debian has it, of what is installed."""
    kept = [path.replace("zsh/site-functions", "zsh/vendor-completions") for path in installed
            if not path.startswith("share/doc/")]
    return sorted(kept + [f"share/doc/{name}/{each}" for each in
                          ("changelog.Debian.gz", "changelog.gz", "copyright")]
                  + [f"share/lintian/overrides/{name}"])


class PackagesTest(unittest.TestCase):
    def check(self, name, installed):
        found = files(name)
        self.assertEqual(sorted(found), expected(name, installed))
        for path, (mode, owner) in found.items():
            self.assertEqual((mode, owner), ("-rwxr-xr-x" if path.startswith("bin/") else
                                             "-rw-r--r--", "root/root"), path)

    def test_contents(self):
        self.check("velmaro-cli", TERMINAL)
        self.check("velmaro", WINDOW)

    def test_every_file_has_its_sum(self):
        for name in ("velmaro", "velmaro-cli"):
            sums = shown("dpkg-deb", "-I", package(name), "md5sums").splitlines()
            self.assertEqual(sorted(line.split(maxsplit=1)[1] for line in sums),
                             sorted("usr/" + path for path in files(name)))

    def field(self, name, field):
        return shown("dpkg-deb", "-f", package(name), field).strip()

    def test_dependencies(self):
        terminal = self.field("velmaro-cli", "Depends")
        # A suite's name of a library may tell how large its times are, or which release it is.
        for needed in ("gstreamer1.0-plugins-base", "gstreamer1.0-plugins-good", "libc6",
                       "libgstreamer1.0-0(t64)?", r"libxnnpack0(\.[0-9.]+)?"):
            self.assertRegex(terminal, rf"(^|, ){needed}( \(|,|$)")
        self.assertNotIn("qt", terminal)
        window = self.field("velmaro", "Depends")
        version = self.field("velmaro", "Version")
        self.assertIn(f"velmaro-cli (= {version})", window)
        self.assertIn("libqt6widgets6", window)

    def test_the_changelog_is_of_this_version(self):
        for name in ("velmaro", "velmaro-cli"):
            text = shown("sh", "-c", 'dpkg-deb --fsys-tarfile "$1" | tar -xO '
                         f'./usr/share/doc/{name}/changelog.Debian.gz | gzip -d', "sh",
                         package(name))
            self.assertTrue(text.startswith(f"velmaro ({self.field(name, 'Version')}) "), text)

    def test_control(self):
        for name in ("velmaro", "velmaro-cli"):
            self.assertEqual(self.field(name, "Package"), name)
            self.assertEqual(self.field(name, "Section"), "sound")
            self.assertEqual(self.field(name, "Architecture"),
                             shown("dpkg", "--print-architecture").strip())
            self.assertRegex(self.field(name, "Maintainer"), r"^[^<]+ <[^@]+@[^>]+>$")


if __name__ == "__main__":
    FOLDER = sys.argv.pop(1)
    unittest.main(verbosity=2)
