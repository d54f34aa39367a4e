"""Takes the pictures of docs/receivers.md: take_pictures.py PROGRAM FOLDER [NAME...].

Needs, beside the receivers, xterm, imagemagick and puredata-gui. Each receiver runs on a display of its
own while the program sends a head that is held 30 degrees to the right, 20 up and 10 to the left shoulder.
"""

import os
import subprocess
import sys
import tempfile
import time

import scene_rotator
import test_receivers

POSE = (30, 20, -10)
# As a person would have them; another where one is taken.
PORTS = {"iem": 8000, "puredata": 8000, "supercollider": 57120, "adm-osc": 4001, "ear": 8000}
TERMINAL = ("xterm", "-fa", "DejaVu Sans Mono", "-fs", "10", "-geometry", "80x16+0+0", "-e")


def port_of(receiver):
    return test_receivers.free_port() if scene_rotator.listens(PORTS[receiver]) else PORTS[receiver]


def picture(screen, path, crop=None):
    cut = ("-crop", crop, "+repage") if crop else ("-trim", "+repage")
    subprocess.run(["import", "-window", "root", *cut, "-colors", "64", path], check=True,
                   env={**os.environ, "DISPLAY": screen})


def in_terminal(path, port, receiver, command, wait=2):
    """A receiver that prints what comes."""
    with scene_rotator.display("700x300x24") as screen, \
            tempfile.TemporaryDirectory() as home, \
            test_receivers.running(*TERMINAL, "sh", "-c", command, env={
                **os.environ, "DISPLAY": screen, "HOME": home, "XDG_CONFIG_HOME": home,
                "XDG_DATA_HOME": home, "QT_QPA_PLATFORM": "offscreen",
                "QTWEBENGINE_DISABLE_SANDBOX": "1"}):
        time.sleep(wait)
        with test_receivers.held_head(*POSE, *receiver, "--port", str(port), "--rate", "2"):
            time.sleep(4)
            picture(screen, path)


def oscdump(path):
    port = port_of("adm-osc")
    in_terminal(path, port, ("--receiver", "adm-osc"), f"oscdump -L {port}")


def tshark(path):
    port = port_of("ear")
    in_terminal(path, port, ("--receiver", "ear"),
                f"oscdump -L {port} >/dev/null & tshark -l -i lo -f 'udp port {port}' "
                "--enable-heuristic osc_udp -T fields -e udp.dstport -e osc.message.header.path "
                "-e osc.message.header.format -e osc.message.float 2>/dev/null", 5)


def supercollider(path):
    port = port_of("supercollider")
    with tempfile.NamedTemporaryFile("w", suffix=".scd") as script:
        script.write(f"thisProcess.openUDPPort({port});\nOSCFunc({{ |message| message.postln }}, "
                     f"'/ypr', recvPort: {port});\n")
        script.flush()
        in_terminal(path, port, ("--receiver", "supercollider"), f"sclang -D {script.name}", 30)


def puredata(path):
    port = port_of("puredata")
    with scene_rotator.display("620x360x24") as screen, tempfile.TemporaryDirectory() as folder:
        patch = os.path.join(folder, "head.pd")
        with open(patch, "w", encoding="ascii") as file:
            file.write(f"""#N canvas 20 20 560 260 12;
#X obj 20 20 netreceive -u -b {port};
#X obj 20 60 oscparse;
#X obj 20 100 list trim;
#X obj 20 140 route ypr;
#X obj 20 180 unpack f f f;
#X floatatom 60 220 10 0 0 0 pan - - 12;
#X floatatom 200 220 10 0 0 0 tilt - - 12;
#X floatatom 340 220 10 0 0 0 roll - - 12;
#X connect 0 0 1 0;
#X connect 1 0 2 0;
#X connect 2 0 3 0;
#X connect 3 0 4 0;
#X connect 4 0 5 0;
#X connect 4 1 6 0;
#X connect 4 2 7 0;
""")
        with test_receivers.running("pd", "-noaudio", "-nomidi", "-open", patch,
                                    env={**os.environ, "DISPLAY": screen, "HOME": folder}):
            scene_rotator.wait_until(lambda: scene_rotator.listens(port), "Pure Data", 60)
            with test_receivers.held_head(*POSE, "--receiver", "puredata", "--port", str(port)):
                time.sleep(8)
                picture(screen, path)


def iem(path):
    port = port_of("iem")
    with scene_rotator.scene_rotator(port) as environment, \
            test_receivers.held_head(*POSE, "--receiver", "iem", "--port", str(port)):
        time.sleep(5)
        picture(environment["DISPLAY"], path)


def main():
    test_receivers.PROGRAM, folder, *names = sys.argv[1:]
    for take in (oscdump, tshark, supercollider, puredata, iem):
        if not names or take.__name__ in names:
            take(os.path.join(folder, f"receiver-{take.__name__}.png"))


if __name__ == "__main__":
    main()
