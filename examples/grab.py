#!/usr/bin/env python3
"""Grabs frames from the simulated GigE Vision camera through the module.

Starts kyr-sim-camera on 127.0.0.1, finds it through "PyKyrSystem", opens it,
sets size and pixel format, streams 200 frames and prints frames per second,
the incomplete count and a checksum of the last frame, reads the transport
statistics, saves the configuration and opens the camera again from that
file with "CreateDeviceFromConfig". Then it saves one frame as a PNG and the
next ones as a short movie, in build/demo/ (or --output). The camera it started is stopped
at the end.

--private-network runs all this in a network namespace of its own (root
only), so that another simulated camera on the host's loopback does not
clash with this one; the tests use it.
"""

from __future__ import annotations

import argparse
import contextlib
import ctypes
import fcntl
import os
import socket
import struct
import subprocess
import sys
import tempfile
import time
import zlib
from pathlib import Path
from typing import TYPE_CHECKING, Iterator

if TYPE_CHECKING:
    from libKyrCameraGuiApiPy import PyBuffer, PyDataStream, PyDevice, PyDeviceInfo, PyGenParams

BUILD = Path(os.environ.get("KYR_BUILD_DIR", Path(__file__).resolve().parent.parent / "build"))
# KYR_SIM_CAMERA names another simulated camera, as the cross-built module's
# tests under an emulator use the host's.
SIM_CAMERA = Path(os.environ.get("KYR_SIM_CAMERA") or BUILD / "bin" / "kyr-sim-camera")
SERIAL = "SIM0001"
FRAMES = 200
MOVIE_FRAMES = 50
STOP_DEFAULT = 0
WAIT_MS = 5000
UNKNOWN_ERROR = -40001


def enter_private_network(addresses: int = 1) -> None:
    """Moves this process into a new network namespace and brings its
    loopback up (what `unshare -n` and `ip link set lo up` do), with the
    addresses 127.0.0.1 to 127.0.0.<addresses> on it, one per camera."""
    clone_newnet = 0x40000000
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.unshare(clone_newnet) != 0:
        raise OSError(ctypes.get_errno(), "unshare(CLONE_NEWNET) needs root")
    siocgifflags, siocsifflags, iff_up = 0x8913, 0x8914, 0x1
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sock:
        request = struct.pack("16sH22x", b"lo", 0)
        flags = struct.unpack("16sH22x", fcntl.ioctl(sock, siocgifflags, request))[1]
        fcntl.ioctl(sock, siocsifflags, struct.pack("16sH22x", b"lo", flags | iff_up))
    for index in range(2, addresses + 1):
        subprocess.run(["ip", "addr", "add", f"127.0.0.{index}/8", "dev", "lo"], check=True)


@contextlib.contextmanager
def simulated_camera(address: str = "127.0.0.1", serial: str = SERIAL) -> Iterator[subprocess.Popen[bytes]]:
    """Runs kyr-sim-camera on `address` for the duration of the block. The
    camera also ends with this process when something kills it."""
    camera = subprocess.Popen([str(SIM_CAMERA), "--address", address, "--serial", serial,
                               "--parent", str(os.getpid())],
                              stdout=subprocess.DEVNULL)
    try:
        yield camera
    finally:
        camera.terminate()
        camera.wait()


def find_camera(kyr, deadline_s: float = 15.0) -> PyDeviceInfo | None:
    """The camera's PyDeviceInfo once discovery sees it, or None. Each rescan
    waits for one discovery round."""
    deadline = time.monotonic() + deadline_s
    while time.monotonic() < deadline:
        for iface in kyr.PyKyrSystem().GetInterfaceList() or []:
            for info in iface.GetDeviceInfoList() or []:
                if info.GetSerialNumber() == SERIAL:
                    return info
            iface.ReEnumerateDevices(1000)
    return None


def next_frame(stream: PyDataStream) -> PyBuffer | None:
    """The next frame, or None for a buffer without an image: the module
    gives it back to the queue itself and reports -40001. Any other failure
    ends the demo."""
    buffer = stream.GetBuffer(WAIT_MS)
    if buffer is None and stream.GetLastError() != UNKNOWN_ERROR:
        raise RuntimeError(f"no frame: error {stream.GetLastError()}")
    return buffer


@contextlib.contextmanager
def streaming(device: PyDevice) -> Iterator[PyDataStream]:
    """The device's stream with its buffers queued and acquisition running."""
    stream = device.GetStreamByIndex(0)
    if stream is None or not stream.AllocBufferQueue(8) or not stream.StartAcquisition():
        raise RuntimeError("cannot start streaming")
    try:
        yield stream
    finally:
        stream.StopAcquisition(STOP_DEFAULT)
        stream.ReleaseBufferQueue()
        stream.Release()


def save_frames(kyr, device: PyDevice, folder: Path) -> tuple[Path, Path, str]:
    """Saves one frame as a PNG and the next MOVIE_FRAMES as a movie."""
    compressors = kyr.PyGetVideoCompressors() or []
    if not compressors:
        raise RuntimeError("no video compressor available")
    compressor = "mpeg4" if "mpeg4" in compressors else compressors[0]
    image, movie = folder / "frame.png", folder / "movie.avi"
    with streaming(device) as stream:
        recorded = 0
        while recorded < MOVIE_FRAMES:
            buffer = next_frame(stream)
            if buffer is None:
                continue
            if recorded == 0:
                if not kyr.PySaveImage(buffer, str(image)):
                    raise RuntimeError(f"cannot save {image}: error {kyr.GetLastError()}")
                if not kyr.PyStartMovieRecord(buffer, str(movie), 25.0, compressor):
                    raise RuntimeError(f"cannot start {movie}: error {kyr.GetLastError()}")
            if not kyr.PySaveMovieFrame(buffer):
                raise RuntimeError(f"cannot add to {movie}: error {kyr.GetLastError()}")
            recorded += 1
            stream.QueueBuffer(buffer)
    if not kyr.PyFinishRecord():
        raise RuntimeError(f"cannot finish {movie}: error {kyr.GetLastError()}")
    return image, movie, compressor


def parameters(params: PyGenParams | None) -> PyGenParams:
    """A device's parameter collection, which only a released device lacks."""
    if params is None:
        raise RuntimeError("the device has no parameters")
    return params


def grab(device: PyDevice, width: int, height: int, pixel_format: str,
         frame_rate: float) -> tuple[float, int, tuple[int, int], dict[str, int | None]]:
    params = parameters(device.GetCameraParameters())
    for ok in (params.SetIntegerValue("Width", width), params.SetIntegerValue("Height", height),
               params.SetEnumValueStr("PixelFormat", pixel_format)):
        if not ok:
            raise RuntimeError(f"cannot set the image format: error {params.GetLastError()}")
    params.SetFloatValue("AcquisitionFrameRate", frame_rate)

    incomplete = 0
    checksum = 0
    frame_id = 0
    with streaming(device) as stream:
        start = time.monotonic()
        for _ in range(FRAMES):
            buffer = next_frame(stream)
            if buffer is None:
                incomplete += 1
                continue
            incomplete += bool(buffer.IsIncomplete())
            pixels = buffer.GetBufferPtr()
            checksum = zlib.crc32(pixels if isinstance(pixels, bytearray) else b"")
            frame_id = buffer.GetFrameID()
            stream.QueueBuffer(buffer)
        elapsed = time.monotonic() - start
        # The statistics belong to the open stream.
        transport = parameters(device.GetTransportParameters())
        statistics = {name: transport.GetIntegerValue(name)[1]
                      for name in ("StatCompletedBuffers", "StatFailedBuffers", "StatUnderruns",
                                   "StatResentPackets", "StatMissingPackets")}
    return FRAMES / elapsed, incomplete, (frame_id, checksum), statistics


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--private-network", action="store_true")
    parser.add_argument("--width", type=int, default=640)
    parser.add_argument("--height", type=int, default=480)
    parser.add_argument("--pixel-format", default="Mono8")
    parser.add_argument("--frame-rate", type=float, default=200.0)
    parser.add_argument("--output", type=Path, default=BUILD / "demo")
    args = parser.parse_args()
    if args.private_network:
        enter_private_network()

    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr  # noqa: E402

    with simulated_camera():
        info = find_camera(kyr)
        if info is None:
            print("the simulated camera was not found", file=sys.stderr)
            return 1
        iface = info.GetInterface()
        print(f"found {info.GetDisplayName()} at {info.GetIPAddress()} "
              f"on {iface.GetDescription() if iface else 'no interface'}")

        device = kyr.PyKyrCreateDevice(info)
        if not device.IsValid():
            print(f"cannot open the camera: error {kyr.GetLastError()}", file=sys.stderr)
            return 1
        fps, incomplete, (frame_id, checksum), statistics = grab(
            device, args.width, args.height, args.pixel_format, args.frame_rate)
        print(f"{FRAMES} frames of {args.width}x{args.height} {args.pixel_format}: {fps:.1f} frames/s, "
              f"{incomplete} incomplete, last frame {frame_id} crc32 {checksum:08x}")
        print("transport statistics: " + ", ".join(f"{k} {v}" for k, v in statistics.items()))

        args.output.mkdir(parents=True, exist_ok=True)
        image, movie, compressor = save_frames(kyr, device, args.output)
        print(f"saved a frame to {image} and {MOVIE_FRAMES} frames ({compressor}) to {movie}")

        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "camera.cfg")
            if not device.SaveConfiguration(path):
                print("cannot save the configuration", file=sys.stderr)
                return 1
            device.Release()
            system = kyr.PyKyrSystem()
            reopened = system.CreateDeviceFromConfig(path)
            if reopened is None:
                print(f"cannot reopen from the configuration: error {system.GetLastError()}", file=sys.stderr)
                return 1
            reopened_params = parameters(reopened.GetCameraParameters())
            width = reopened_params.GetIntegerValue("Width")[1]
            pixel_format = reopened_params.GetEnumValueStr("PixelFormat")[1]
            print(f"reopened from its configuration: {reopened.GetDisplayName()}, {width} wide, {pixel_format}")
            reopened.Release()
        return 0


if __name__ == "__main__":
    sys.exit(main())
