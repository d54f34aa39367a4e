"""What `cmake --install` puts where, and that the installed program finds it from its own place:
test_install.py BUILD."""

import os
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest

BUILD = ""

TERMINAL = """bin/velmaro-cli
lib/systemd/user/velmaro.service
lib/udev/rules.d/60-velmaro-head-tracker.rules
share/bash-completion/completions/velmaro-cli
share/doc/velmaro/LICENSE
share/fish/vendor_completions.d/velmaro-cli.fish
share/man/man1/velmaro-cli.1.gz
share/velmaro/demo/README.md
share/velmaro/demo/demo.webm
share/velmaro/models/NOTICE
share/velmaro/models/face_detection_short_range.tflite
share/velmaro/models/face_landmark.tflite
share/velmaro/models/geometry_pipeline_metadata_landmarks.binarypb
share/zsh/site-functions/_velmaro""".splitlines()
WINDOW = """bin/velmaro
share/applications/io.github.velmaro.Velmaro.desktop
share/bash-completion/completions/velmaro
share/fish/vendor_completions.d/velmaro.fish
share/icons/hicolor/scalable/apps/io.github.velmaro.Velmaro.svg
share/man/man1/velmaro.1.gz
share/metainfo/io.github.velmaro.Velmaro.metainfo.xml
share/velmaro/fonts/Mulish-Regular.ttf
share/velmaro/fonts/Mulish-SemiBold.ttf
share/velmaro/fonts/NOTICE
share/velmaro/fonts/OFL.txt""".splitlines()


class InstallTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.prefix = os.path.join(cls.folder.name, "prefix")
        subprocess.run(["cmake", "--install", BUILD, "--prefix", cls.prefix], check=True,
                       stdout=subprocess.DEVNULL)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def start_installed(self, *arguments):
        variables = {name: value for name, value in os.environ.items()
                     if not name.startswith("VELMARO_")}
        variables["XDG_CONFIG_HOME"] = self.folder.name
        return subprocess.Popen([os.path.join(self.prefix, "bin/velmaro-cli"), *arguments],
                                env=variables, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                                text=True)

    def test_all_is_there_and_nothing_else(self):
        found = sorted(os.path.relpath(os.path.join(folder, name), self.prefix)
                       for folder, _, names in os.walk(self.prefix) for name in names)
        window = WINDOW if os.path.exists(os.path.join(BUILD, "bin/velmaro")) else []
        self.assertEqual(found, sorted(TERMINAL + window))

    def test_nothing_leads_back_to_the_build(self):
        source = os.path.dirname(os.path.dirname(os.path.realpath(BUILD))).encode()
        for folder, folders, names in os.walk(self.prefix):
            for name in folders + names:
                path = os.path.join(folder, name)
                self.assertFalse(os.path.islink(path), path)
                if os.path.isfile(path):
                    with open(path, "rb") as file:
                        self.assertNotIn(source, file.read(), path)

    def test_the_service_manager_understands_the_unit(self):
        with open(os.path.join(self.prefix, "lib/systemd/user/velmaro.service"),
                  encoding="utf-8") as file:
            unit = file.read()
        program = os.path.join(self.prefix, "bin/velmaro-cli")
        self.assertIn("ExecStart=velmaro-cli --quiet ", unit)
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        copy = os.path.join(folder.name, "velmaro.service")
        # The manager knows no program outside the system's own folders by its bare name.
        with open(copy, "w", encoding="utf-8") as file:
            file.write(unit.replace("ExecStart=velmaro-cli ", f"ExecStart={program} "))
        done = subprocess.run(["systemd-analyze", "--user", "--man=no", "verify", copy], capture_output=True,
                              text=True, check=False, timeout=60,
                              env={**os.environ, "XDG_RUNTIME_DIR": folder.name})
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    # What it plays and finds faces with must be the installed files: with these away, it fails, and
    # says where it looked.
    def test_it_tracks_by_its_own_files(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as receiver:
            receiver.bind(("127.0.0.1", 0))
            receiver.settimeout(60)
            program = self.start_installed("--demo", "--port", str(receiver.getsockname()[1]))
            try:
                self.assertTrue(receiver.recv(256).startswith(b"/ypr\0\0\0\0,fff\0\0\0\0"))
            finally:
                program.terminate()
                _, errors = program.communicate(timeout=60)
            self.assertEqual(program.returncode, 0, errors)
        models = os.path.join(self.prefix, "share/velmaro/models")
        shutil.move(models, models + ".away")
        self.addCleanup(shutil.move, models + ".away", models)
        program = self.start_installed("--demo")
        _, errors = program.communicate(timeout=60)
        self.assertEqual(program.returncode, 1)
        self.assertIn(models, errors)


if __name__ == "__main__":
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2)
