#!/usr/bin/env python3
"""What tools/release refuses before it builds anything, and what it leaves: release_test.py SOURCE.

The packages are small ones of a stand-in for tools/package, which fails without what makes a build the
same everywhere.
"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = ""

FILES = {
    "CMakeLists.txt": "cmake_minimum_required(VERSION 3.25)\nproject(velmaro VERSION 2.3.4 LANGUAGES CXX)\n",
    "CHANGELOG.md": "# Changelog\n\n## Unreleased\n\n## 2.3.4 - 2026-01-31\n- Something.\n"
                    "\n## 2.3.3 - 2025-12-24\n- Something else.\n",
    "packaging/debian/changelog": "velmaro (2.3.4-1) unstable; urgency=medium\n",
    "packaging/io.github.velmaro.Velmaro.metainfo.xml":
        '  <release version="2.3.4" date="2026-01-31">\n  <release version="2.3.3" date="2025-12-24">\n',
}

PACKAGE = """#!/bin/sh
set -eu
cd "$(dirname "$0")/.."
case $CXXFLAGS in *"-ffile-prefix-map=$PWD=."*) ;; *) exit 1 ;; esac
[ "$CCACHE_DISABLE" = 1 ] && [ -f build/models/model ] && [ -f build/fonts/font ]
folder=build/${1:-release}
mkdir -p $folder/packages staged/DEBIAN staged/usr
cat >staged/DEBIAN/control <<END
Package: velmaro
Version: 2.3.4-1
Architecture: ${1:-amd64}
Maintainer: T <t@example.org>
Description: none
END
@CONTENT@ >staged/usr/file
chmod -R u=rwX,go=rX staged
dpkg-deb --root-owner-group --build staged $folder/packages/velmaro_2.3.4-1_${1:-amd64}.deb
"""
FETCH = """#!/bin/sh
mkdir -p "$1" && touch "$1/model" "$1/font"
"""


class ReleaseTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        for path, text in FILES.items():
            self.write(path, text)
        os.makedirs(os.path.join(self.folder, "tools"))
        for name in "release", "setup.sh":
            shutil.copy(os.path.join(SOURCE, "tools", name), os.path.join(self.folder, "tools"))
        self.git("init", "-q")
        self.commit()

    def write(self, path, text):
        whole = os.path.join(self.folder, path)
        os.makedirs(os.path.dirname(whole), exist_ok=True)
        with open(whole, "w", encoding="utf-8") as file:
            file.write(text)

    def git(self, *arguments):
        subprocess.run(["git", "-c", "user.name=T", "-c", "user.email=t@example.org",
                        "-c", "commit.gpgsign=false", *arguments], cwd=self.folder, check=True)

    def commit(self):
        self.git("add", "-A")
        self.git("commit", "-qm", "state")

    def change(self, path, old, new):
        self.assertIn(old, FILES[path])
        self.write(path, FILES[path].replace(old, new))
        self.commit()

    def run_release(self, *arguments):
        return subprocess.run([os.path.join(self.folder, "tools", "release"), *arguments],
                              capture_output=True, text=True, check=False)

    def expect_refusal(self, reason, *arguments):
        done = self.run_release(*arguments)
        self.assertEqual((done.returncode, done.stdout, done.stderr),
                         (2, "", f"release: {reason}\n"))
        self.assertFalse(os.path.exists(os.path.join(self.folder, "build")))

    def test_a_release_that_all_files_agree_on_passes(self):
        done = self.run_release("2.3.4", "--check")
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))

    def test_usage(self):
        for arguments in (), ("2.3.4", "--sign"), ("2.3.4", "--check", "more"):
            self.expect_refusal("usage: tools/release VERSION [--check]", *arguments)

    def test_what_is_no_version(self):
        for text in "", "2.3", "v2.3.4", "2.3.04", "2.3.4-rc1", "2.3.4\n", "--check":
            self.expect_refusal(f"'{text}' is no version: three numbers, such as 1.0.0", text)

    def test_a_changed_work_tree(self):
        for path in "CMakeLists.txt", "forgotten.txt":
            self.write(path, "changed")
            self.expect_refusal("the work tree has changes: commit or remove them (git status)", "2.3.4")
            self.git("stash", "-qu")

    def test_files_that_name_another_version(self):
        for path in "CMakeLists.txt", "packaging/debian/changelog", \
                "packaging/io.github.velmaro.Velmaro.metainfo.xml":
            with self.subTest(path):
                self.change(path, "2.3.4", "2.3.5")
                self.expect_refusal(f"{path} says version 2.3.5, not 2.3.4", "2.3.4")
                self.change(path, "2.3.4", "2.3.4")

    def test_a_file_without_a_version(self):
        self.change("CMakeLists.txt", "VERSION 2.3.4", "")
        self.expect_refusal("CMakeLists.txt says version none, not 2.3.4", "2.3.4")

    def test_a_changelog_without_the_section(self):
        missing = "CHANGELOG.md has no section '## 2.3.4 - YYYY-MM-DD'"
        for heading in "## Unreleased", "## 2.3.4", "## 2x3.4 - 2026-01-31", "## 2.3.40 - 2026-01-31", \
                "## 2.3.4 - 2026-01-31, perhaps":
            with self.subTest(heading):
                self.change("CHANGELOG.md", "## 2.3.4 - 2026-01-31", heading)
                self.expect_refusal(missing, "2.3.4")

    def test_an_empty_section(self):
        self.change("CHANGELOG.md", "- Something.\n", "")
        self.expect_refusal("CHANGELOG.md's section on 2.3.4 is empty", "2.3.4")

    def test_changes_that_are_left_unreleased(self):
        self.change("CHANGELOG.md", "## Unreleased\n", "## Unreleased\n- Later.\n")
        self.expect_refusal("CHANGELOG.md lists changes as unreleased: move them into the section on 2.3.4",
                            "2.3.4")

    def prepare(self, content):
        """All that a release needs, with a package of what the shell command `content` prints."""
        self.write(".gitignore", "/build/\n")
        self.write("packages.txt", "")
        for name, text in ("package", PACKAGE.replace("@CONTENT@", content)), \
                ("fetch-models", FETCH), ("fetch-fonts", FETCH), ("fetch-arm64", FETCH), \
                ("aarch64-linux-gnu-g++", "#!/bin/sh\n"):
            self.write(os.path.join("tools", name), text)
            os.chmod(os.path.join(self.folder, "tools", name), 0o755)
        self.commit()
        return {**os.environ, "PATH": os.path.join(self.folder, "tools") + ":" + os.environ["PATH"]}

    def build(self, content):
        environment = self.prepare(content)
        done = subprocess.run([os.path.join(self.folder, "tools", "release"), "2.3.4"], text=True,
                              env=environment, capture_output=True, check=False)
        left = os.path.join(self.folder, "build", "releases", "2.3.4")
        return done, sorted(os.listdir(left)), left

    def test_packages_of_both_machines_with_their_sums(self):
        done, names, left = self.build("date -u -d @$SOURCE_DATE_EPOCH")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(names, ["SHA256SUMS", "velmaro_2.3.4-1_amd64.deb", "velmaro_2.3.4-1_arm64.deb"])
        checked = subprocess.run(["sha256sum", "--check", "--strict", "SHA256SUMS"], cwd=left,
                                 capture_output=True, text=True, check=True)
        self.assertEqual(checked.stdout, "velmaro_2.3.4-1_amd64.deb: OK\nvelmaro_2.3.4-1_arm64.deb: OK\n")
        with open(os.path.join(left, "SHA256SUMS"), encoding="utf-8") as file:
            self.assertEqual(done.stdout, file.read())
        self.assertEqual(os.listdir(os.path.join(self.folder, "build", "releases")), ["2.3.4"])

    def test_two_builds_that_differ(self):
        for content in "date +%H%z", "umask", "basename $PWD", "cat /proc/sys/kernel/random/uuid":
            with self.subTest(content):
                done, names, _ = self.build(content)
                self.assertEqual((done.returncode, done.stdout, names), (1, "", []))
                self.assertIn("release: two builds differ", done.stderr)

    def test_a_path_of_this_machine(self):
        done, names, _ = self.build(f"echo {self.folder}")
        self.assertEqual((done.returncode, done.stdout, names), (1, "", []))
        self.assertIn("release: velmaro_2.3.4-1_amd64.deb holds a path of this machine", done.stderr)


if __name__ == "__main__":
    SOURCE = sys.argv.pop(1)
    unittest.main()
