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
                  "close" destroys the view and ends.
  pyqt:           a PyQt6 application whose own thread (the GUI thread)
                  opens Select Camera over its window, prints "chosen
                  <serial>", opens the chosen camera's tree view, prints
                  "tree", and on "close" destroys it and quits."""

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


def pyqt(kyr):
    from PyQt6.QtCore import QTimer
    from PyQt6.QtWidgets import QApplication, QWidget

    app = QApplication([])
    host = QWidget()
    host.setWindowTitle("PyQt6 host")
    host.resize(200, 100)
    host.show()
    closing = threading.Event()
    threading.Thread(target=lambda: (sys.stdin.readline(), closing.set()), daemon=True).start()
    held = {}

    def choose():
        # On the application's thread: the dialog runs in a nested event loop.
        info = kyr.PyKyrSystem().SelectCamera(int(host.winId()), False)
        answer(f"chosen {info.GetSerialNumber() if info else None}")
        if info is None:
            app.quit()
            return
        held["device"] = kyr.PyKyrCreateDevice(info)
        held["view"] = kyr.PyCreateGenParamTreeViewForArray(held["device"].GetCameraParameters(), int(host.winId()))
        answer("tree")
        poll.start(50)

    def close_when_asked():
        if closing.is_set():
            poll.stop()
            answer(f"destroyed {kyr.PyDestroyGenParamTreeView(held['view'])}")
            held["device"].Release()
            app.quit()

    poll = QTimer()
    poll.timeout.connect(close_when_asked)
    QTimer.singleShot(0, choose)
    app.exec()


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
        elif sys.argv[1] == "pyqt":
            pyqt(kyr)
        else:
            tree_lost(kyr, camera)
    return 0


if __name__ == "__main__":
    sys.exit(main())
