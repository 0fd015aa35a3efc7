"""The simulated camera on the wire: raw GVCP and GVSP against kyr-sim-camera
in a network namespace the test makes (discovery, registers and memory,
control privilege and heartbeat, PACKETRESEND, packet loss, message-channel
events). The test process stays in the host's namespace: it makes its
sockets from a thread that joined the camera's namespace, and the sockets
stay there."""

import ctypes
import os
import random
import queue
import socket
import struct
import subprocess
import sys
import threading
import time
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from kyrbuild import BUILD  # noqa: E402

SIM_CAMERA = BUILD / "bin" / "kyr-sim-camera"
GVCP_PORT = 3956
CLONE_NEWNET = 0x40000000
SERIAL = "SIM0001"

DISCOVERY, FORCEIP, PACKETRESEND = 0x0002, 0x0004, 0x0040
READREG, WRITEREG, READMEM, WRITEMEM = 0x0080, 0x0082, 0x0084, 0x0086
EVENT, EVENTDATA = 0x00C0, 0x00C2
SUCCESS, NOT_IMPLEMENTED, INVALID_PARAMETER, INVALID_ADDRESS = 0x0000, 0x8001, 0x8002, 0x8003
BAD_ALIGNMENT, ACCESS_DENIED, PACKET_UNAVAILABLE = 0x8005, 0x8006, 0x800C

CCP, HEARTBEAT, CAPABILITY = 0x0A00, 0x0938, 0x0934
MCP, MCDA, MCTT, MCRC, MCSP = 0x0B00, 0x0B10, 0x0B14, 0x0B18, 0x0B1C
SCP, SCPS, SCDA, SCSP = 0x0D00, 0x0D04, 0x0D18, 0x0D1C
WIDTH, HEIGHT, ACQUISITION, FRAME_PERIOD_US = 0x100, 0x104, 0x124, 0x138
EVENT_NOTIFICATION = {"FrameStart": (0x400, 1), "ExposureStart": (0x404, 2), "ExposureEnd": (0x408, 3)}
CONTROL, EXCLUSIVE = 2, 1

# Small frames: 64 x 40 Mono8 (2560 bytes) in packets of 576 bytes (540 of
# data) make a leader, four full payload packets, a short one and a trailer.
FRAME_WIDTH, FRAME_HEIGHT, PACKET_SIZE = 64, 40, 576
DATA_PER_PACKET = PACKET_SIZE - 36
PAYLOAD_PACKETS = -(-FRAME_WIDTH * FRAME_HEIGHT // DATA_PER_PACKET)
WAIT_S = 3.0


class Namespace:
    """A network namespace with loopback up, held by a sleeping process."""

    def __init__(self):
        self.holder = subprocess.Popen(["unshare", "-n", "sh", "-c", "ip link set lo up && echo up && exec sleep 600"],
                                       stdout=subprocess.PIPE, text=True)
        if self.holder.stdout.readline().strip() != "up":
            self.close()
            pytest.skip("cannot make a network namespace (needs root)")
        self.path = f"/proc/{self.holder.pid}/ns/net"

    def run(self, *argv, **kwargs):
        return subprocess.Popen(["nsenter", f"--net={self.path}", *map(str, argv)], **kwargs)

    def socket(self, address="127.0.0.1", port=0, broadcast=False):
        """A UDP socket in the namespace, bound to address:port."""
        made = {}

        def make():
            libc = ctypes.CDLL(None, use_errno=True)
            with open(self.path) as ns:
                if libc.setns(ns.fileno(), CLONE_NEWNET) != 0:
                    made["error"] = OSError(ctypes.get_errno(), "setns")
                    return
            sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            sock.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, int(broadcast))
            sock.bind((address, port))
            made["socket"] = sock

        thread = threading.Thread(target=make)
        thread.start()
        thread.join()
        if "error" in made:
            raise made["error"]
        return made["socket"]

    def close(self):
        self.holder.kill()
        self.holder.wait()


class Camera:
    def __init__(self, namespace, address="127.0.0.1", serial=SERIAL, *options):
        self.address = address
        self.process = namespace.run(SIM_CAMERA, "--address", address, "--serial", serial, *options,
                                     stdout=subprocess.PIPE, text=True)
        line = self.process.stdout.readline()
        assert line.startswith("kyr-sim-camera: serving"), line
        self.lines = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            self.lines.put(line)

    def said(self, word, timeout):
        """The next line of the camera's output that holds `word`."""
        deadline = time.monotonic() + timeout
        try:
            while True:
                line = self.lines.get(timeout=max(deadline - time.monotonic(), 0))
                if word in line:
                    return line
        except queue.Empty:
            raise AssertionError(f"the camera never said {word!r}") from None

    def stop(self):
        self.process.terminate()
        assert self.process.wait(timeout=10) == 0


class Client:
    """A GVCP client: one socket, so one host and port to the camera."""

    def __init__(self, namespace, camera):
        self.sock = namespace.socket()
        self.sock.settimeout(WAIT_S)
        self.camera = (camera.address, GVCP_PORT)
        self.port = self.sock.getsockname()[1]
        self.request_id = random.randrange(1, 0xFF00)

    def exchange(self, command, payload=b"", flags=0x01, to=None):
        """Sends a command; its acknowledge as (status, payload, source)."""
        self.request_id = self.request_id % 0xFFFF + 1
        header = struct.pack(">BBHHH", 0x42, flags, command, len(payload), self.request_id)
        self.sock.sendto(header + payload, to or self.camera)
        while True:
            data, source = self.sock.recvfrom(2048)
            status, ack, length, ack_id = struct.unpack(">HHHH", data[:8])
            if ack_id == self.request_id:
                assert ack == command + 1
                assert length == len(data) - 8
                return status, data[8:], source

    def read(self, *addresses):
        status, payload, _ = self.exchange(READREG, b"".join(struct.pack(">I", a) for a in addresses))
        return status, list(struct.unpack(f">{len(payload) // 4}I", payload))

    def write(self, *pairs):
        status, payload, _ = self.exchange(WRITEREG, b"".join(struct.pack(">II", a, v) for a, v in pairs))
        return status, struct.unpack(">HH", payload)[1]

    def value(self, address):
        status, values = self.read(address)
        assert status == SUCCESS
        return values[0]

    def set(self, *pairs):
        assert self.write(*pairs) == (SUCCESS, len(pairs))


@pytest.fixture
def namespace():
    made = Namespace()
    yield made
    made.close()


@pytest.fixture
def camera(namespace):
    started = Camera(namespace)
    yield started
    started.stop()


def start_stream(namespace, client):
    """Takes control and starts 100 fps of the small frames to a socket of
    the test's: the socket."""
    receiver = namespace.socket()
    receiver.settimeout(WAIT_S)
    client.set((CCP, CONTROL))
    client.set((WIDTH, FRAME_WIDTH), (HEIGHT, FRAME_HEIGHT), (FRAME_PERIOD_US, 10000), (SCPS, PACKET_SIZE),
               (SCDA, 0x7F000001), (SCP, receiver.getsockname()[1]))
    client.set((ACQUISITION, 1))
    return receiver


def parse_gvsp(data):
    status, block, word = struct.unpack(">HHI", data[:8])
    return status, block, word >> 24, word & 0xFFFFFF, data[8:]


def receive_block(receiver):
    """The next block sent whole from its leader on: block id, {packet id:
    payload}, as received until its trailer."""
    while True:
        status, block, fmt, packet_id, body = parse_gvsp(receiver.recv(65536))
        if fmt == 1 and packet_id == 0:
            break
    got = {0: body}
    while True:
        status, other, fmt, packet_id, body = parse_gvsp(receiver.recv(65536))
        if other != block:
            continue
        got[packet_id] = body
        if fmt == 2:
            return block, got


def pattern(block):
    return bytes((x + y + block) & 0xFF for y in range(FRAME_HEIGHT) for x in range(FRAME_WIDTH))


def test_discovery_answers_unicast_and_broadcast_from_each_camera_address(namespace):
    subprocess.run(["nsenter", f"--net={namespace.path}", "ip", "addr", "add", "127.0.0.2/8", "dev", "lo"], check=True)
    cameras = [Camera(namespace, "127.0.0.1", "SIMA"), Camera(namespace, "127.0.0.2", "SIMB")]
    try:
        client = Client(namespace, cameras[0])
        client.sock.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
        status, payload, source = client.exchange(DISCOVERY, to=("127.0.0.2", GVCP_PORT))
        assert (status, source, len(payload)) == (SUCCESS, ("127.0.0.2", GVCP_PORT), 0xF8)
        assert payload[0xD8:0xD8 + 5] == b"SIMB\0"
        assert socket.inet_ntoa(payload[0x24:0x28]) == "127.0.0.2"

        header = struct.pack(">BBHHH", 0x42, 0x11, DISCOVERY, 0, 77)
        client.sock.sendto(header, ("255.255.255.255", GVCP_PORT))
        answers = {}
        while len(answers) < 2:
            data, source = client.sock.recvfrom(2048)
            assert data[:8] == struct.pack(">HHHH", SUCCESS, DISCOVERY + 1, 0xF8, 77)
            answers[source] = data[8 + 0xD8:8 + 0xDC]
        assert answers == {("127.0.0.1", GVCP_PORT): b"SIMA", ("127.0.0.2", GVCP_PORT): b"SIMB"}
        # The MAC addresses differ, each derived from its serial number.
        macs = {client.exchange(DISCOVERY, to=(c.address, GVCP_PORT))[1][0x0A:0x10] for c in cameras}
        assert len(macs) == 2 and all(mac[0] == 0x02 for mac in macs)
    finally:
        for started in cameras:
            started.stop()


def test_registers_and_memory_read_and_write(namespace, camera):
    client = Client(namespace, camera)
    status, values = client.read(HEARTBEAT, SCPS, CAPABILITY)
    assert status == SUCCESS and values[:2] == [3000, 1400]
    assert values[2] & 0x1F == 0x1F, "concatenation, WRITEMEM, PACKETRESEND, EVENT, EVENTDATA"

    assert client.write((0x1F0, 5)) == (ACCESS_DENIED, 0), "writing needs control"
    client.set((CCP, CONTROL))
    assert client.write((0x1F0, 7), (0x1F2, 1), (0x1F0, 9)) == (BAD_ALIGNMENT, 1)
    assert client.read(0x1F0, 0x1F4) == (SUCCESS, [7, 0])

    status, payload, _ = client.exchange(READMEM, struct.pack(">IHH", 0x200, 0, 12))
    assert status == SUCCESS and payload == struct.pack(">I", 0x200) + b"Local:arv-fa"
    status, payload, _ = client.exchange(WRITEMEM, struct.pack(">I", 0xE8) + b"user-name\0\0\0")
    assert (status, payload) == (SUCCESS, struct.pack(">HH", 0, 12))
    status, payload, _ = client.exchange(READMEM, struct.pack(">IHH", 0xE8, 0, 12))
    assert payload[4:] == b"user-name\0\0\0"


@pytest.mark.parametrize("command, payload, status", [
    (READREG, b"", INVALID_PARAMETER),
    (READREG, b"\0\0\x01", INVALID_PARAMETER),
    (READREG, struct.pack(">I", 0x102), BAD_ALIGNMENT),
    (READREG, struct.pack(">I", 0xFFFFFFF0), INVALID_ADDRESS),
    (WRITEREG, struct.pack(">I", 0x1F0), INVALID_PARAMETER),
    (READMEM, struct.pack(">IHH", 0x200, 0, 540), INVALID_PARAMETER),
    (READMEM, struct.pack(">IHH", 0x200, 0, 0), INVALID_PARAMETER),
    (READMEM, struct.pack(">IHH", 0x201, 0, 4), BAD_ALIGNMENT),
    (READMEM, b"\0\0", INVALID_PARAMETER),
    (WRITEMEM, struct.pack(">I", 0xE8) + b"oddly", BAD_ALIGNMENT),
    (0x1234, b"", NOT_IMPLEMENTED),
])
def test_bad_commands_get_their_status(namespace, camera, command, payload, status):
    client = Client(namespace, camera)
    client.set((CCP, CONTROL))
    assert client.exchange(command, payload)[0] == status
    assert client.value(CCP) == CONTROL, "still answering"


def test_malformed_packets_are_ignored(namespace, camera):
    client = Client(namespace, camera)
    for junk in [b"", b"\x42", b"\x43\x01\x00\x80\x00\x04\x00\x01" + b"\0" * 4,
                 b"\x42\x01\x00\x80\x01\x00\x00\x01" + b"\0" * 4, os.urandom(1400), os.urandom(9000)]:
        client.sock.sendto(junk, client.camera)
    assert client.value(HEARTBEAT) == 3000


def test_control_privilege_refuses_other_clients(namespace, camera):
    owner, other = Client(namespace, camera), Client(namespace, camera)
    owner.set((CCP, CONTROL))
    assert other.write((CCP, CONTROL)) == (ACCESS_DENIED, 0)
    assert other.write((0x1F0, 1)) == (ACCESS_DENIED, 0)
    assert other.exchange(WRITEMEM, struct.pack(">II", 0x1F0, 1))[0] == ACCESS_DENIED
    assert other.read(0x1F0)[0] == SUCCESS, "control alone lets others read"

    owner.set((CCP, CONTROL | EXCLUSIVE))
    assert other.read(0x1F0)[0] == ACCESS_DENIED
    assert other.exchange(READMEM, struct.pack(">IHH", 0x200, 0, 4))[0] == ACCESS_DENIED
    assert other.read(CCP) == (SUCCESS, [CONTROL | EXCLUSIVE]), "who holds control stays readable"

    owner.set((CCP, 0))
    other.set((CCP, CONTROL))
    assert owner.write((0x1F0, 1)) == (ACCESS_DENIED, 0)


def test_silent_controller_loses_privilege_after_heartbeat_timeout(namespace, camera):
    owner, watcher = Client(namespace, camera), Client(namespace, camera)
    owner.set((CCP, CONTROL), (HEARTBEAT, 300))
    started = time.monotonic()
    # The watcher's reads are no heartbeat for the owner.
    assert watcher.value(CCP) == CONTROL
    assert camera.said("dropped", timeout=5).startswith(f"kyr-sim-camera: control of 127.0.0.1:{owner.port} dropped")
    assert time.monotonic() - started >= 0.25, "not before the timeout (checked every 50 ms)"
    assert watcher.value(CCP) == 0
    watcher.set((CCP, CONTROL))
    assert owner.write((0x1F0, 1)) == (ACCESS_DENIED, 0)


def test_forceip_moves_the_camera_named_by_its_mac(namespace, camera):
    client = Client(namespace, camera)
    client.sock.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
    mac = client.exchange(DISCOVERY)[1][0x0A:0x10]
    settings = struct.pack(">12x4s12x4s12x4s", socket.inet_aton("127.0.0.9"), socket.inet_aton("255.0.0.0"),
                           socket.inet_aton("127.0.0.254"))
    other_mac = bytes([mac[0] ^ 1]) + mac[1:]
    client.sock.sendto(struct.pack(">BBHHH2x6s", 0x42, 1, FORCEIP, 56, 9, other_mac) + settings,
                       ("127.255.255.255", GVCP_PORT))
    status, _, source = client.exchange(FORCEIP, struct.pack(">2x6s", mac) + settings, to=("127.255.255.255", GVCP_PORT))
    assert (status, source) == (SUCCESS, ("127.0.0.9", GVCP_PORT)), "only the named camera answers, from its new address"
    assert camera.said("moved", timeout=WAIT_S).strip() == "kyr-sim-camera: moved to 127.0.0.9"
    status, payload, source = client.exchange(DISCOVERY, to=("127.0.0.9", GVCP_PORT))
    assert [socket.inet_ntoa(payload[at:at + 4]) for at in (0x24, 0x34, 0x44)] == [
        "127.0.0.9", "255.0.0.0", "127.0.0.254"]
    camera.address = "127.0.0.9"
    moved = Client(namespace, camera)
    receiver = start_stream(namespace, moved)
    assert receiver.recvfrom(65536)[1][0] == "127.0.0.9", "the stream moved too"


def test_heartbeat_keeps_privilege(namespace, camera):
    owner, other = Client(namespace, camera), Client(namespace, camera)
    owner.set((CCP, CONTROL), (HEARTBEAT, 300))
    deadline = time.monotonic() + 1.0
    while time.monotonic() < deadline:
        assert owner.value(CCP) == CONTROL
    assert other.write((CCP, CONTROL)) == (ACCESS_DENIED, 0)


def leader_fields(leader):
    """Payload type, timestamp, pixel format, width, height of a leader."""
    _, payload_type, timestamp, pixel_format, width, height = struct.unpack(">HHQIII", leader[:24])
    return payload_type, timestamp, pixel_format, width, height


def test_stream_sends_leader_payload_and_trailer_of_the_pattern(namespace, camera):
    client = Client(namespace, camera)
    receiver = start_stream(namespace, client)
    block, packets = receive_block(receiver)
    assert sorted(packets) == list(range(PAYLOAD_PACKETS + 2))
    payload_type, timestamp, pixel_format, width, height = leader_fields(packets[0])
    assert (payload_type, pixel_format, width, height) == (1, 0x01080001, FRAME_WIDTH, FRAME_HEIGHT)
    assert timestamp > 0
    assert [len(packets[i]) for i in range(1, PAYLOAD_PACKETS)] == [DATA_PER_PACKET] * (PAYLOAD_PACKETS - 1)
    assert b"".join(packets[i] for i in range(1, PAYLOAD_PACKETS + 1)) == pattern(block)
    assert packets[PAYLOAD_PACKETS + 1] == struct.pack(">HHI", 0, 1, FRAME_HEIGHT)
    following, _ = receive_block(receiver)
    assert following == block + 1
    assert client.value(SCSP) == receiver.recvfrom(65536)[1][1], "the stream's source port is published"


def resend_request(client, block, first, last):
    header = struct.pack(">BBHHH", 0x42, 0, PACKETRESEND, 12, 1)
    client.sock.sendto(header + struct.pack(">HHII", 0, block, first, last), client.camera)


def receive_resent(receiver, block, wanted):
    """Packets of `block` with ids in `wanted`, skipping the live stream."""
    got = {}
    while set(got) != set(wanted):
        status, other, fmt, packet_id, body = parse_gvsp(receiver.recv(65536))
        if other == block and packet_id in wanted:
            assert status == SUCCESS
            got[packet_id] = body
    return got


def test_packet_resend_sends_the_same_bytes_again(namespace):
    # The most frames kept: a loaded machine may read the block late.
    started = Camera(namespace, "127.0.0.1", SERIAL, "--resend-frames", "32")
    try:
        client = Client(namespace, started)
        receiver = start_stream(namespace, client)
        block, packets = receive_block(receiver)
        resend_request(client, block, 0, 2)
        resend_request(client, block, PAYLOAD_PACKETS + 1, 0xFFFFFF)
        assert receive_resent(receiver, block, {0, 1, 2, PAYLOAD_PACKETS + 1}) == {
            i: packets[i] for i in (0, 1, 2, PAYLOAD_PACKETS + 1)}
    finally:
        started.stop()


@pytest.mark.parametrize("age", [6, -1000], ids=["too old", "never sent"])
def test_packet_resend_of_a_block_not_kept_says_unavailable(namespace, age):
    started = Camera(namespace, "127.0.0.1", SERIAL, "--resend-frames", "2")
    try:
        client = Client(namespace, started)
        receiver = start_stream(namespace, client)
        block, _ = receive_block(receiver)
        for _ in range(abs(age) if age > 0 else 0):
            receive_block(receiver)
        wanted = (block + (age if age < 0 else 0)) % 0x10000 or 1
        resend_request(client, wanted, 3, 4)
        while True:
            status, other, fmt, packet_id, body = parse_gvsp(receiver.recv(65536))
            if status != SUCCESS:
                break
        assert (status, other, packet_id, body) == (PACKET_UNAVAILABLE, wanted, 3, b"")
    finally:
        started.stop()


def lossy_blocks(namespace, count, *options):
    """The first `count` blocks of a camera that loses packets: [(block,
    {packet id: bytes})], with the client and receiver still streaming."""
    started = Camera(namespace, "127.0.0.1", SERIAL, *options)
    client = Client(namespace, started)
    receiver = start_stream(namespace, client)
    blocks = {}
    while len(blocks) < count + 1:
        status, block, fmt, packet_id, body = parse_gvsp(receiver.recv(65536))
        blocks.setdefault(block, {})[packet_id] = body
    first = sorted(blocks)[:count]
    return started, client, receiver, [(b, blocks[b]) for b in first]


def test_drop_is_seeded_and_resend_fills_the_gaps(namespace):
    runs = []
    for _ in range(2):
        started, client, receiver, blocks = lossy_blocks(namespace, 6, "--drop", "0.3", "--seed", "7", "--resend-frames", "32")
        runs.append([(block, sorted(packets)) for block, packets in blocks])
        total = PAYLOAD_PACKETS + 2
        lost = sum(total - len(packets) for _, packets in blocks)
        assert 0 < lost < 6 * total
        block, packets = next((b, p) for b, p in blocks if len(p) < total and 0 in p)
        missing = set(range(total)) - set(packets)
        for packet_id in missing:
            resend_request(client, block, packet_id, packet_id)
        packets.update(receive_resent(receiver, block, missing))
        assert b"".join(packets[i] for i in range(1, PAYLOAD_PACKETS + 1)) == pattern(block)
        started.stop()
    assert runs[0] == runs[1], "the same seed drops the same packets"
    started, _, _, blocks = lossy_blocks(namespace, 6, "--drop", "0.3", "--seed", "8")
    started.stop()
    assert [(block, sorted(packets)) for block, packets in blocks] != runs[0]


@pytest.mark.parametrize("options, command, length", [((), EVENTDATA, 32), (("--plain-events",), EVENT, 16)],
                         ids=["EVENTDATA", "EVENT"])
def test_events_carry_block_and_timestamp_and_repeat_until_acknowledged(namespace, options, command, length):
    started = Camera(namespace, "127.0.0.1", SERIAL, *options)
    try:
        client = Client(namespace, started)
        events = namespace.socket()
        events.settimeout(WAIT_S)
        client.set((CCP, CONTROL))
        client.set((MCTT, 50), (MCRC, 2), (MCDA, 0x7F000001), (MCP, events.getsockname()[1]),
                   (EVENT_NOTIFICATION["FrameStart"][0], 1), (EVENT_NOTIFICATION["ExposureEnd"][0], 1))
        receiver = start_stream(namespace, client)
        block, packets = receive_block(receiver)
        timestamp = leader_fields(packets[0])[1]
        client.set((ACQUISITION, 0))

        # ExposureEnd events are acknowledged, FrameStart ones never: those
        # come 1 + MCRC times each.
        copies, seen = {}, {}
        events.settimeout(1.0)
        try:
            while True:
                data, source = events.recvfrom(2048)
                assert source == ("127.0.0.1", client.value(MCSP))
                key, flags, cmd, size, request_id = struct.unpack(">BBHHH", data[:8])
                assert (key, flags & 1, cmd, size) == (0x42, 1, command, length)
                _, event_id, channel, event_block, event_time = struct.unpack(">HHHHQ", data[8:24])
                if length == 32:
                    assert struct.unpack(">QQ", data[24:40]) == (event_block, event_time)
                copies[request_id] = copies.get(request_id, 0) + 1
                seen[(event_id, event_block)] = event_time
                if event_id == EVENT_NOTIFICATION["ExposureEnd"][1]:
                    events.sendto(struct.pack(">HHHH", 0, command + 1, 0, request_id), source)
        except socket.timeout:
            pass
        assert seen[(1, block)] == seen[(3, block)] == timestamp
        ids = {event_id for event_id, _ in seen}
        assert ids == {1, 3}, "ExposureStart was not switched on"
        assert sorted(set(copies.values())) == [1, 3]
        assert sum(1 for n in copies.values() if n == 3) == sum(1 for e, _ in seen if e == 1)
    finally:
        started.stop()


OPTIONS = ["--address", "--serial", "--xml", "--resend-frames", "--drop", "--seed", "--drop-resends", "--packet-delay",
           "--bandwidth", "--plain-events", "--parent", "--help"]


def test_help_names_every_option():
    run = subprocess.run([SIM_CAMERA, "--help"], capture_output=True, text=True, timeout=10)
    assert run.returncode == 0
    assert [option for option in OPTIONS if f"  {option}" not in run.stdout] == []


@pytest.mark.parametrize("argv, message, code", [
    (["--drop", "1.5"], "--drop: bad value 1.5", 2),
    (["--drop", "nan"], "--drop: bad value nan", 2),
    (["--resend-frames", "33"], "--resend-frames: bad value 33", 2),
    (["--seed", "-1"], "--seed: bad value -1", 2),
    (["--packet-delay", "1x"], "--packet-delay: bad value 1x", 2),
    (["--frobnicate", "1"], "--frobnicate: unknown option", 2),
    (["--address"], "--address: needs a value", 2),
    (["--parent", "0"], "--parent: bad value 0", 2),
    (["--address", "10.254.254.254"], "cannot serve on 10.254.254.254", 1),
    (["--xml", "/nonexistent.xml"], "cannot load /nonexistent.xml", 1),
])
def test_bad_options_are_refused(namespace, argv, message, code):
    run = namespace.run(SIM_CAMERA, *argv, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    _, errors = run.communicate(timeout=10)
    assert run.returncode == code
    assert f"kyr-sim-camera: {message}\n" in errors


def test_camera_ends_with_its_parent_however_it_ends(namespace):
    parent = subprocess.Popen(["sleep", "600"])
    camera = Camera(namespace, "127.0.0.1", SERIAL, "--parent", parent.pid)
    parent.kill()
    parent.wait()
    assert camera.process.wait(timeout=10) == 0
    # The same process, gone before the camera starts.
    run = namespace.run(SIM_CAMERA, "--parent", parent.pid, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    _, errors = run.communicate(timeout=10)
    assert (run.returncode, errors) == (1, f"kyr-sim-camera: cannot watch process {parent.pid}: No such process\n")
