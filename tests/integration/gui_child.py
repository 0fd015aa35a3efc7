"""The module's dialogs and tree view in a child process, in a network
namespace of its own with the simulated camera, for scenarios the example
does not play. Reads commands on standard input and answers on standard
output, one line each.

Usage: gui_child.py <scenario>
  dialog-threads: opens Select Camera; meanwhile another thread answers
                  "ping" with "pong <ticks>", ticks counted by a third
                  thread; prints "closed" when the dialog returns.
  tree-lost:      opens the camera and its tree view, prints "ready";
                  "lose" stops the camera, "release" releases the device,
                  "close" destroys the view and ends."""

import sys
import threading
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "examples"))
from grab import BUILD, enter_private_network, find_camera, simulated_camera  # noqa: E402


def answer(text):
    print(text, flush=True)


def dialog_threads(kyr):
    ticks = [0]
    done = threading.Event()

    def count():
        while not done.is_set():
            ticks[0] += 1
            time.sleep(0.001)

    def serve():
        for line in sys.stdin:
            if line.strip() == "ping":
                answer(f"pong {ticks[0]}")

    threading.Thread(target=count, daemon=True).start()
    threading.Thread(target=serve, daemon=True).start()
    kyr.PyKyrSystem().SelectCamera(0, False)
    done.set()
    answer("closed")


def tree_lost(kyr, camera):
    device = kyr.PyKyrCreateDevice(find_camera(kyr))
    view = kyr.PyCreateGenParamTreeViewForArray(device.GetCameraParameters())
    answer("ready")
    for line in sys.stdin:
        command = line.strip()
        if command == "lose":
            camera.terminate()
            camera.wait()
            answer("lost")
        elif command == "release":
            device.Release()
            answer("released")
        elif command == "close":
            break
    answer(f"destroyed {kyr.PyDestroyGenParamTreeView(view)}")


def main():
    enter_private_network()
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr  # noqa: E402

    with simulated_camera() as camera:
        if find_camera(kyr) is None:
            answer("no camera")
            return 1
        if sys.argv[1] == "dialog-threads":
            dialog_threads(kyr)
        else:
            tree_lost(kyr, camera)
    return 0


if __name__ == "__main__":
    sys.exit(main())
