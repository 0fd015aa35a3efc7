#!/usr/bin/env python3
"""Random calls over the whole module, in random order, with random and hostile
arguments: wrong types and counts, None, huge and negative integers, texts
with NUL or lone surrogates, arguments whose conversion releases a device or
stream, use after every kind of release, waits ended from another thread and
device loss. Any crash, sanitizer report or hang fails the run; Python
exceptions are expected and counted by type.

    fuzz_module.py --target scripted|real [--calls N] [--seed S]

The target runs in a child process; when it fails, the seed and its last calls
are printed for replay. "scripted" drives the scripted platform (and fails on
any call that reached a released platform object); "real" drives the real
platform against the simulated camera, in a network namespace of its own
(root only), killing the camera now and then.
"""

import argparse
import collections
import faulthandler
import os
import random
import signal
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
TESTS = HERE.parent
sys.path[:0] = [str(TESTS), str(TESTS / "scripted"), str(TESTS.parent / "examples")]

from kyrbuild import BUILD  # noqa: E402

# Bounds that keep every call short and every allocation small.
CALL_TIMEOUT_S = 60
SMALL_COUNTS = [0, 1, 2, 3, 4, 8, -1, 2**31, 2**63, 2**64 + 1]
TIMEOUTS_MS = [0, 1, 20, 200]
SIZES = [0, 1, 16, 4096, 65536, -1, 2**62]
MAX_SIZE = 1 << 24

INTS = [0, 1, -1, 2, 7, 255, 640, 0x8001, 2**31 - 1, 2**31, -2**31, 2**32 + 1, 2**63 - 1, 2**63, -2**63, 2**64 + 1]
TEXTS = ["Width", "Height", "PixelFormat", "Mono8", "Gain", "TriggerMode", "On", "Root", "DeviceUserID",
         "AcquisitionStart", "NoSuch", "", "a\0b", "\udcff", "äöü", "x" * 300, "Stream0", "192.168.0.1",
         "255.255.255.0", "frame.png", "frame.tiff", "movie.avi", "config.txt", "/nonexistent/x.png", "mpeg4"]


class Releasing:
    """An argument whose conversion releases something first."""

    def __init__(self, fuzzer, value):
        self.fuzzer, self.value = fuzzer, value

    def _fire(self):
        self.fuzzer.release_something()
        return self.value

    def __index__(self):
        return self._fire()

    __int__ = __index__

    def __float__(self):
        return float(self._fire())

    def __str__(self):
        return str(self._fire())

    def __bool__(self):
        return bool(self._fire())


class Fuzzer:
    def __init__(self, kyr, rng, target, log):
        self.kyr, self.rng, self.target, self.log = kyr, rng, target, log
        self.objects = collections.defaultdict(list)  # kind -> wrappers, released ones included
        self.tally = collections.Counter()
        self.calls = 0

    # The pool of objects -------------------------------------------------

    def add(self, kind, obj):
        if obj is not None and not isinstance(obj, (bool, int, tuple, bytes, str, list)):
            pool = self.objects[kind]
            pool.append(obj)
            if len(pool) > 16:
                pool.pop(self.rng.randrange(len(pool)))

    def pick(self, kind):
        pool = self.objects.get(kind)
        return self.rng.choice(pool) if pool else None

    def grow(self):
        """Makes the objects a script makes, so that every kind is there."""
        kyr = self.kyr
        system = kyr.PyKyrSystem()
        self.add("system", system)
        for iface in system.GetInterfaceList() or []:
            self.add("interface", iface)
            self.add("params", iface.GetParameters())
            for info in iface.GetDeviceInfoList() or []:
                self.add("info", info)
        info = self.pick("info")
        device = kyr.PyKyrCreateDevice(info) if info is not None else kyr.PyKyrCreateDevice()
        if device is None or not device.IsValid():
            return
        self.add("device", device)
        device.RegisterEvent(0x8001, self.on_event)
        self.add("info", device.GetInfo())
        for params in (device.GetCameraParameters(), device.GetTransportParameters()):
            if params is None:
                continue
            self.add("params", params)
            for index in range(min(params.GetCount(), 24)):
                self.add("node", params.GetParamByIndex(index))
            for getter, name in (("GetInt", "Width"), ("GetEnum", "PixelFormat"), ("GetFloat", "Gain"),
                                 ("GetString", "DeviceUserID"), ("GetBoolean", "ReverseX"),
                                 ("GetCommand", "AcquisitionStart"), ("GetRootCategory", None)):
                node = getattr(params, getter)(name) if name else params.GetRootCategory()
                self.add("node", node)
        stream = device.GetStreamByIndex(0)
        if stream is None:
            return
        self.add("stream", stream)
        if stream.AllocBufferQueue(4) and stream.StartAcquisition():
            buffer = stream.GetBuffer(1000)
            if buffer is not None:
                self.add("buffer", buffer)
                self.add("image", buffer.GetImage())

    def release_something(self):
        kind = self.rng.choice(["device", "stream", "stream", "queue", "revoke"])
        if kind == "device" and self.pick("device") is not None:
            self.pick("device").Release()
        elif kind in ("stream", "queue", "revoke") and self.pick("stream") is not None:
            stream = self.pick("stream")
            if kind == "stream":
                stream.Release()
            elif kind == "queue":
                stream.StopAcquisition(1)
                stream.ReleaseBufferQueue()
            elif self.pick("buffer") is not None:
                stream.RevokeBuffer(self.pick("buffer"))

    # Arguments -------------------------------------------------------------

    def argument(self, method):
        rng = self.rng
        if method == "GetBuffer":
            return rng.choice(TIMEOUTS_MS)
        if method in ("AllocBufferQueue", "ReEnumerateDevices"):
            return rng.choice([count for count in SMALL_COUNTS if count < 64])
        if method in ("CreateBuffer", "ReadMem"):
            return rng.choice([size for size in SIZES if size < MAX_SIZE])
        roll = rng.random()
        if roll < 0.3:
            return rng.choice(INTS)
        if roll < 0.55:
            return rng.choice(TEXTS)
        if roll < 0.6:
            return rng.choice([None, 0.5, -1e300, float("nan"), b"\x01\x02", bytearray(b"ab"), [], (1,)])
        if roll < 0.67:
            return self.on_event
        if roll < 0.72:
            return Releasing(self, rng.choice([0, 1, 640, "Width", "frame.png"]))
        kind = rng.choice(list(self.objects) or ["none"])
        return self.pick(kind)

    def on_event(self, data, size, context):
        self.tally["event"] += 1
        if self.rng.random() < 0.3:
            self.release_something()

    # Calls -----------------------------------------------------------------

    def call(self, owner, name):
        function = getattr(owner, name)
        method = name
        limit = len(TIMEOUTS_MS) if method == "GetBuffer" else 5
        args = [self.argument(method) for _ in range(self.rng.randrange(limit))]
        if method == "GetBuffer" and not args:
            args = [0]  # without an argument the wait has no limit
        self.calls += 1
        self.log.write(f"{self.calls} {type(owner).__name__}.{name}{tuple(map(describe, args))}\n")
        faulthandler.dump_traceback_later(CALL_TIMEOUT_S, exit=True)
        try:
            result = function(*args)
        except Exception as error:  # noqa: BLE001 - every Python exception is an answer
            self.tally[type(error).__name__] += 1
            return
        finally:
            faulthandler.cancel_dump_traceback_later()
        self.tally["returned"] += 1
        kind = {"PyDevice": "device", "PyDataStream": "stream", "PyBuffer": "buffer", "PyImage": "image",
                "PyGenParams": "params", "PyDeviceInfo": "info", "PyDeviceInterface": "interface"}
        self.add(kind.get(type(result).__name__, "node"), result)

    def step(self):
        if self.rng.random() < 0.1 or not self.objects:
            return self.call(self.kyr, self.rng.choice(module_functions(self.kyr)))
        kind = self.rng.choice(list(self.objects))
        owner = self.pick(kind)
        names = list(getattr(owner, "__methods__", []))
        if self.target == "real":
            # Moving the camera to another address would end the run's camera.
            names = [name for name in names if name != "ForceIP"]
        if names:
            self.call(owner, self.rng.choice(names))

    def ended_wait(self, before_wait):
        """GetBuffer without limit on a thread, ended by a cancel or a release
        from this one. `before_wait(stream)` makes sure the wait has no end of
        its own."""
        device = self.pick("device")
        stream = device.GetStreamByIndex(0) if device is not None else None
        if stream is None:
            return
        self.add("stream", stream)
        stream.AllocBufferQueue(4)
        stream.StartAcquisition()
        before_wait(stream)
        waiter = threading.Thread(target=stream.GetBuffer, args=(-1,), daemon=True)
        waiter.start()
        waiter.join(self.rng.choice([0, 0.01, 0.05]))
        ender = self.rng.choice(["CancelBuffer", "Release", "device"])
        if ender == "CancelBuffer":
            # Said once the wait may not have started: repeat until it ends.
            while waiter.is_alive():
                stream.CancelBuffer()
                waiter.join(0.01)
        elif ender == "Release":
            stream.Release()
        else:
            device.Release()
        waiter.join(CALL_TIMEOUT_S)
        if waiter.is_alive():
            faulthandler.dump_traceback(all_threads=True)
            raise SystemExit(f"fuzz: {ender} left GetBuffer waiting")
        self.tally["ended wait"] += 1


def describe(value):
    text = repr(value) if not callable(value) or isinstance(value, type) else getattr(value, "__name__", "callable")
    return text if len(text) < 40 else text[:37] + "..."


def module_functions(kyr):
    return [name for name in dir(kyr) if not name.startswith("_")]


def run_scripted(args, rng, log):
    from kyrbuild import SCRIPTED_LIB, import_module
    from kyrscript import Boolean, Category, Command, Enum, Float, Int, Script, String, frame

    kyr = import_module(SCRIPTED_LIB)
    script = Script(SCRIPTED_LIB)
    script.reset()

    def describe_platform():
        script.interfaces("if0", "if1")
        script.interface("if0", "cam0", "cam1", GetType=2)
        script.interface("if1", "cam2", GetType=1)
        for device in ("device", "cam0", "cam1", "cam2"):
            script.parameters(f"{device}-camera",
                              Category("Root", "Width", "PixelFormat", "Gain", "DeviceUserID", "ReverseX",
                                       "AcquisitionStart"),
                              Int("Width", 640, GetMin=16, GetMax=4096, GetIncrement=16), Float("Gain", 1.5),
                              Enum("PixelFormat", "Mono8", {"Mono8": 0x01080001, "Mono12": 0x01100005}),
                              String("DeviceUserID", "cam"), Boolean("ReverseX"), Command("AcquisitionStart"))
            script.answer(f"{device}-stream0.GetBuffer", frame(bytes(range(48)), width=8, height=6, id=1))

    describe_platform()
    fuzzer = Fuzzer(kyr, rng, "scripted", log)
    done = 0
    while fuzzer.calls < args.calls:
        done += 1
        if done % 200 == 0:
            fuzzer.grow()
        if done % 500 == 250:
            fuzzer.ended_wait(lambda stream: [script.clear(f"{name}-stream0.GetBuffer")
                                              for name in ("device", "cam0", "cam1", "cam2")])
            describe_platform()
        if done % 700 == 350:
            for name in ("device", "cam0", "cam1", "cam2"):
                fuzzer.tally["device lost"] += max(0, script.fire_event(name, 0x8001, b"lost"))
        fuzzer.step()
    misuses = script.misuses()
    return fuzzer, misuses


def run_real(args, rng, log):
    from grab import SERIAL, SIM_CAMERA, enter_private_network
    from kyrbuild import REAL_LIB, import_module

    enter_private_network()
    # Without a screen the dialogs answer at once; with one they would wait
    # for a person.
    os.environ.pop("DISPLAY", None)
    os.environ.pop("WAYLAND_DISPLAY", None)
    kyr = import_module(REAL_LIB)

    def start_camera():
        return subprocess.Popen([str(SIM_CAMERA), "--address", "127.0.0.1", "--serial", SERIAL],
                                stdout=subprocess.DEVNULL)

    camera = start_camera()
    fuzzer = Fuzzer(kyr, rng, "real", log)
    try:
        done = 0
        while fuzzer.calls < args.calls:
            done += 1
            if done % 300 == 0:
                fuzzer.grow()
            if done % 1000 == 500:
                def drain(stream):
                    # Every buffer taken and none given back: the next wait has no end.
                    while stream.GetBuffer(500) is not None:
                        pass
                fuzzer.ended_wait(drain)
            if done % 2500 == 1250:
                # The camera goes away mid-stream; its devices are lost, then
                # it comes back and the pool starts again.
                camera.send_signal(signal.SIGKILL)
                camera.wait()
                for _ in range(20):
                    fuzzer.step()
                for device in fuzzer.objects.get("device", []):
                    device.Release()
                fuzzer.objects.clear()
                camera = start_camera()
                fuzzer.tally["camera killed"] += 1
            fuzzer.step()
        for device in fuzzer.objects.get("device", []):
            device.Release()
    finally:
        camera.terminate()
        camera.wait()
    return fuzzer, 0


def child(args):
    rng = random.Random(args.seed)
    workdir = tempfile.mkdtemp(prefix="kyr-fuzz-")
    os.chdir(workdir)  # every file a call writes lands here
    with open(args.log, "w", buffering=1) as log:
        started = time.monotonic()
        fuzzer, misuses = (run_scripted if args.target == "scripted" else run_real)(args, rng, log)
    tally = ", ".join(f"{name} {count}" for name, count in sorted(fuzzer.tally.items()))
    print(f"fuzz: {args.target}: {fuzzer.calls} calls in {time.monotonic() - started:.0f} s; {tally}")
    if misuses:
        print(f"fuzz: {misuses} calls reached a released platform object")
        return 1
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--target", choices=["scripted", "real"], required=True)
    parser.add_argument("--calls", type=int, default=50_000)
    parser.add_argument("--seed", type=int, default=None)
    parser.add_argument("--child", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("--log", help=argparse.SUPPRESS)
    args = parser.parse_args()
    if args.child:
        faulthandler.enable()
        sys.exit(child(args))

    if args.target == "real" and os.geteuid() != 0:
        print("fuzz: the real target needs root for its network namespace; skipped")
        return 0
    seed = args.seed if args.seed is not None else random.SystemRandom().randrange(2**32)
    print(f"fuzz: {args.target}, seed {seed}, {args.calls} calls (replay: --seed {seed})", flush=True)
    # The module's own messages (thousands of them) go to a file; its end,
    # with a sanitizer's report or a stack dump, is shown when the run fails.
    with tempfile.NamedTemporaryFile("r", prefix="kyr-fuzz-", suffix=".log") as log, \
            tempfile.TemporaryFile("w+", prefix="kyr-fuzz-", suffix=".err") as errors:
        command = [sys.executable, __file__, "--child", "--target", args.target, "--calls", str(args.calls),
                   "--seed", str(seed), "--log", log.name]
        code = subprocess.call(command, env={**os.environ, "KYR_BUILD_DIR": str(BUILD)}, stderr=errors)
        if code != 0:
            errors.seek(0)
            print(f"fuzz: FAILED with exit status {code}, seed {seed}; the end of its standard error:")
            sys.stdout.writelines(errors.readlines()[-60:])
            print("fuzz: the last calls:")
            sys.stdout.writelines(log.readlines()[-20:])
    return 0 if code == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
