"""Child of test_camera_packet_loss.py: in a network namespace of its own,
streams Mono8 frames through the module from kyr-sim-camera started with the
options given after the frame count, and prints one JSON line: frames asked,
complete ones with the right bytes, complete ones with wrong bytes,
incomplete ones, the ones the module gave no buffer for, and the transport
statistics. Usage: lossy_stream_child.py WIDTH HEIGHT FRAMES [CAMERA OPTION...]"""

import json
import subprocess
import sys
from pathlib import Path

REPO = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPO / "examples"))
from grab import BUILD, SERIAL, SIM_CAMERA, enter_private_network, find_camera, streaming  # noqa: E402

STATISTICS = ("StatCompletedBuffers", "StatFailedBuffers", "StatResentPackets", "StatMissingPackets")


def pattern(width, height, frame):
    line = bytes(range(256)) * ((width + 511) // 256)
    return b"".join(line[(y + frame) % 256:][:width] for y in range(height))


def main():
    width, height, frames = map(int, sys.argv[1:4])
    enter_private_network()
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr

    camera = subprocess.Popen([str(SIM_CAMERA), "--address", "127.0.0.1", "--serial", SERIAL, *sys.argv[4:]],
                              stdout=subprocess.DEVNULL)
    try:
        info = find_camera(kyr)
        device = kyr.PyKyrCreateDevice(info)
        params, transport = device.GetCameraParameters(), device.GetTransportParameters()
        assert params.SetIntegerValue("Width", width) and params.SetIntegerValue("Height", height)
        assert params.SetEnumValueStr("PixelFormat", "Mono8") and params.SetFloatValue("AcquisitionFrameRate", 50.0)
        assert transport.SetIntegerValue("GevSCPSPacketSize", 8000)
        assert transport.SetBooleanValue("PacketResendEnable", True)
        counts = {"frames": frames, "right": 0, "wrong": 0, "incomplete": 0, "none": 0}
        with streaming(device) as stream:
            for _ in range(frames):
                buffer = stream.GetBuffer(5000)
                if buffer is None:
                    counts["none"] += 1
                    continue
                if buffer.IsIncomplete():
                    counts["incomplete"] += 1
                elif bytes(buffer.GetBufferPtr()) == pattern(width, height, buffer.GetFrameID()):
                    counts["right"] += 1
                else:
                    counts["wrong"] += 1
                stream.QueueBuffer(buffer)
            counts.update({name: transport.GetIntegerValue(name)[1] for name in STATISTICS})
        device.Release()
        print(json.dumps(counts))
    finally:
        camera.terminate()
        camera.wait()


if __name__ == "__main__":
    main()
