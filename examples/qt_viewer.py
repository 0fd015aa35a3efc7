#!/usr/bin/env python3
"""A PyQt6 window with the simulated camera's live view embedded in it.

The display library draws into a widget of this window (its X11 window id
goes to PyCreateDisplay) on this application's own GUI thread. Controls:
start and stop streaming, the pixel format (applied on the next start), and
a frame counter. Frames are fetched by a timer on the GUI thread.

--seconds closes the window after that long; --hold instead stops streaming
then, prints "held frame <id> <width>x<height> view <window id>" and keeps
the window open until standard input closes (tests and the screenshot
script look at it then).
"""

from __future__ import annotations

import argparse
import os
import sys
from pathlib import Path
from typing import TYPE_CHECKING

from PyQt6.QtCore import QSocketNotifier, QTimer
from PyQt6.QtWidgets import (QApplication, QComboBox, QHBoxLayout, QLabel, QMainWindow, QPushButton, QVBoxLayout,
                             QWidget)

sys.path.insert(0, str(Path(__file__).resolve().parent))

from grab import BUILD, enter_private_network, simulated_camera  # noqa: E402
from live_view import open_camera  # noqa: E402

if TYPE_CHECKING:
    from libKyrCameraGuiApiPy import PyDataStream, PyDevice

FORMATS = ["Mono8", "Mono12", "Mono12Packed", "BayerRG8", "RGB8"]
WAIT_MS = 50


class Viewer(QMainWindow):
    def __init__(self, kyr, device: PyDevice, view_size: tuple[int, int]):
        super().__init__()
        self.kyr, self.device = kyr, device
        self.stream: PyDataStream | None = None
        self.shown = 0
        self.last: tuple[int, int, int] | None = None
        self.stdin_notifier: QSocketNotifier | None = None
        self.setWindowTitle("KyrCameraApiPy viewer")
        self.view = QWidget()
        self.view.setFixedSize(*view_size)
        self.start_button, self.stop_button = QPushButton("Start"), QPushButton("Stop")
        self.formats = QComboBox()
        self.formats.addItems(FORMATS)
        self.counter = QLabel("0 frames")
        controls = QHBoxLayout()
        for widget in (self.start_button, self.stop_button, self.formats, self.counter):
            controls.addWidget(widget)
        layout = QVBoxLayout()
        layout.addWidget(self.view)
        layout.addLayout(controls)
        central = QWidget()
        central.setLayout(layout)
        self.setCentralWidget(central)
        self.start_button.clicked.connect(self.start)
        self.stop_button.clicked.connect(self.stop)
        self.timer = QTimer(self)
        self.timer.timeout.connect(self.fetch)

    def attach_display(self):
        return self.kyr.PyCreateDisplay(int(self.view.winId()))

    def start(self):
        if self.stream is not None:
            return
        params = self.device.GetCameraParameters()
        if params is None:
            self.counter.setText("no parameters")
            return
        params.SetEnumValueStr("PixelFormat", self.formats.currentText())
        self.kyr.PyResetDisplay()
        stream = self.device.GetStreamByIndex(0)
        if stream is None or not stream.AllocBufferQueue(8) or not stream.StartAcquisition():
            self.counter.setText("cannot start")
            return
        self.stream = stream
        self.timer.start(0)

    def stop(self):
        if self.stream is None:
            return
        self.timer.stop()
        self.stream.StopAcquisition(0)
        self.stream.ReleaseBufferQueue()
        self.stream.Release()
        self.stream = None

    def fetch(self):
        if self.stream is None:
            return
        buffer = self.stream.GetBuffer(WAIT_MS)
        if buffer is None:
            return
        image = buffer.GetImage()
        if image is not None:
            self.kyr.PyShowImageOnDisplay(image)
        self.last = (buffer.GetFrameID(), buffer.GetWidth(), buffer.GetHeight())
        self.stream.QueueBuffer(buffer)
        self.shown += 1
        self.counter.setText(f"{self.shown} frames")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seconds", type=float, default=0.0, help="0: run until the window is closed")
    parser.add_argument("--width", type=int, default=640)
    parser.add_argument("--height", type=int, default=480)
    parser.add_argument("--pixel-format", default="Mono8", choices=FORMATS)
    parser.add_argument("--view-size", default="640x480")
    parser.add_argument("--hold", action="store_true")
    parser.add_argument("--private-network", action="store_true")
    args = parser.parse_args()
    if args.private_network:
        enter_private_network()

    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr  # noqa: E402

    app = QApplication(sys.argv[:1])
    with simulated_camera():
        device = open_camera(kyr, args.width, args.height, args.pixel_format, 60.0)
        view_width, view_height = (int(n) for n in args.view_size.split("x"))
        viewer = Viewer(kyr, device, (view_width, view_height))
        viewer.formats.setCurrentText(args.pixel_format)
        viewer.show()
        if not viewer.attach_display():
            print("cannot attach the display", file=sys.stderr)
            return 1
        viewer.start()

        def finish():
            viewer.stop()
            if not args.hold or viewer.last is None:
                app.exit(0)
                return
            frame, width, height = viewer.last
            print(f"held frame {frame} {width}x{height} view {int(viewer.view.winId()):#x}", flush=True)
            # Standard input closing ends the application.
            stdin = sys.stdin.fileno()
            os.set_blocking(stdin, False)
            # PyQt6's stubs type the descriptor as sip.voidptr; it takes an int.
            notifier = QSocketNotifier(stdin, QSocketNotifier.Type.Read, app)  # type: ignore[call-overload]
            viewer.stdin_notifier = notifier

            def drain():
                try:
                    if not os.read(stdin, 4096):
                        notifier.setEnabled(False)
                        app.exit(0)
                except BlockingIOError:
                    pass
            notifier.activated.connect(drain)

        if args.seconds > 0:
            QTimer.singleShot(int(args.seconds * 1000), finish)
        app.exec()
        viewer.stop()
        device.Release()
    return 0


if __name__ == "__main__":
    sys.exit(main())
