"""The module through a GenTL producer: our test producer (three grabbers of
ArvFakeCamera registers) registered on the real platform, each scenario in a
child process of its own (tests/integration/gentl_child.py)."""

import ctypes
import json
import os
import subprocess
import sys
import zipfile
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from kyrbuild import BUILD, REAL_LIB  # noqa: E402

pytestmark = pytest.mark.skipif(os.geteuid() != 0, reason="a private network namespace needs root")

PRODUCER = BUILD / "gentl" / "KyrTestProducer.cti"
MINIMAL = BUILD / "gentl" / "KyrTestProducerMinimal.cti"
CHILD = Path(__file__).resolve().parent / "gentl_child.py"
MONO8 = 0x01080101  # our pixel type code of Mono8


def run(scenario, producer=PRODUCER, extra=None, **knobs):
    env = {**os.environ, "KYR_BUILD_DIR": str(BUILD), **{f"KYR_TL_{k.upper()}": str(v) for k, v in knobs.items()}}
    args = [sys.executable, str(CHILD), scenario, str(producer)] + ([str(extra)] if extra is not None else [])
    child = subprocess.run(args, env=env, capture_output=True, text=True, timeout=120)
    assert child.returncode == 0, child.stderr
    return json.loads(child.stdout.strip().splitlines()[-1])


def test_interfaces_of_each_grabber_with_their_type():
    seen = run("interfaces")
    assert seen["interfaces"] == [
        [3, "Camera Link grabber", ["Kyr TestCL (SN-CL0-0)", "Kyr TestCL (SN-CL0-1)"]],
        [4, "CoaXPress grabber", ["Kyr TestCXP (SN-CXP0-0)"]],
        [5, "HD-SDI grabber", ["Kyr TestSDI (SN-SDI0-0)"]],
    ]
    assert seen["constants"] == [3, 4, 5]
    assert seen["port_count"] == [True, 2]
    assert seen["ip"] == {
        "GigE Vision adapter": ["192.168.7.20", "255.255.255.0", "192.168.7.1", [True, 0xC0A80714, 0xFFFFFF00, 0xC0A80701]],
        "CoaXPress grabber": ["", "", "", [False, 0, 0, 0]],
    }


def test_register_failures_and_the_same_path_twice(tmp_path):
    seen = run("register", extra=tmp_path / "missing.cti")
    assert seen["results"] == [[False, -40002], [True, 0], [False, -1004]]
    assert seen["interfaces"] == 3


@pytest.mark.parametrize("path, knobs, code", [
    (REAL_LIB / "libKyrCameraApi.so", {}, -1003),      # a library, but no producer
    (PRODUCER, {"init_fail": 1}, -1002),               # GCInitLib fails
])
def test_register_refuses_what_is_no_working_producer(path, knobs, code):
    seen = run("register", extra=path, **knobs)
    assert seen["results"][0] == [False, code]


def test_features_read_and_written_through_the_port():
    seen = run("features")
    assert seen["set"] == [True, True]
    assert seen["get"] == [[True, 320], [True, 200], [True, "Mono8"]]
    assert seen["transport"] == [True, 1]
    assert seen["readmem"][0] == 0


def test_hundred_frames_carry_the_pattern_and_increasing_ids():
    seen = run("grab")
    assert seen["ids"] == list(range(1, 101))
    assert seen["good"] == 100
    assert seen["sizes"] == [[640, 480, MONO8, 640 * 480]]


@pytest.mark.parametrize("how, code", [("cancel", -1012), ("stop", -1002)])
def test_cancel_or_stop_ends_a_pending_wait(how, code):
    assert run("end_wait", extra=how) == {"ended": True, "buffer": True, "code": code}


def test_flush_modes_move_buffers_between_queues():
    seen = run("flush")
    assert seen["OutputDiscard"][0] and seen["UnqueuedToInput"] == [True, 4]
    assert seen["AllDiscard"] == [True, 0]
    assert seen["AllToInput"] == [True, 4]
    assert seen["bad_mode"][0] is False
    assert seen["restart"] and seen["after_restart"]


def test_configuration_round_trip(tmp_path):
    seen = run("config", extra=tmp_path / "cxp.cfg")
    assert seen == {"saved": True, "loaded": True, "width": [True, 320], "reopened": [True, 320]}


@pytest.mark.parametrize("what", ["stream", "device"])
def test_release_ends_a_pending_wait_first(what):
    assert run("release_waiting", extra=what) == {"ended": True, "buffer": True, "after": True, "held": True}


def test_device_removal_gives_lost_event_and_no_buffer():
    seen = run("lost", lose_after=5)
    assert seen["frames"] == 5
    assert seen["code"] == -1010
    assert seen["events"] == ["Kyr TestCXP (SN-CXP0-0)"]
    assert seen["after"] == [True, -1010]


@pytest.mark.parametrize("knobs", [{"events": 1}, {"events": 2, "no_nul": 1}])
def test_each_frame_raises_one_exposure_end_event(knobs):
    seen = run("events", extra="flow", **knobs)
    assert seen["arrived"] and seen["frames"] == list(range(1, 21))
    # Frames after the 20th (queued buffers refilled) may add their events.
    exposures = seen["exposures"]
    assert exposures == [[i, 8] for i in range(1, len(exposures) + 1)] and len(exposures) >= 20
    assert seen["others"] == []


def test_unregistering_inside_the_callback_ends_the_events():
    seen = run("events", extra="unregister", events=1)
    assert seen["arrived"] and seen["frames"] == list(range(1, 21))
    assert seen["exposures"] == [[1, 8]]


def test_device_removal_while_events_flow():
    seen = run("events", extra="lost", events=1, lose_after=5)
    assert seen["arrived"] and seen["frames"] == [1, 2, 3, 4, 5]
    assert seen["exposures"] == [[i, 8] for i in range(1, 6)]
    assert seen["others"] == ["Kyr TestCXP (SN-CXP0-0)"]


def test_every_data_stream_of_a_device_streams():
    seen = run("streams")
    assert seen["count"] == 2
    assert seen["ids"] == [list(range(1, 11))] * 2
    assert seen["third"] and seen["named"]


def test_missing_nul_keeps_devices_usable():
    assert run("features", no_nul=1)["get"][0] == [True, 320]


def test_info_not_implemented_falls_back_to_ids():
    seen = run("interfaces", info_ni=1)
    types = {entry[0] for entry in seen["interfaces"]}
    assert types == {6}
    assert [entry[1] for entry in seen["interfaces"]] == ["CL0", "CXP0", "SDI0", "GEV0"]


def test_missing_nul_gives_the_same_texts():
    assert run("interfaces", no_nul=1)["interfaces"] == run("interfaces")["interfaces"]


def test_incomplete_frames_are_flagged():
    seen = run("grab", extra=30, incomplete=3)
    assert seen["incomplete"] == 10 and seen["good"] == 20


def fake_camera_xml():
    """The description of Aravis's fake camera, which the producer's devices use."""
    aravis = ctypes.CDLL("libaravis-0.8.so.0")
    aravis.arv_fake_camera_new.restype = ctypes.c_void_p
    aravis.arv_fake_camera_new.argtypes = [ctypes.c_char_p]
    aravis.arv_fake_camera_get_genicam_xml.restype = ctypes.c_void_p
    aravis.arv_fake_camera_get_genicam_xml.argtypes = [ctypes.c_void_p, ctypes.POINTER(ctypes.c_size_t)]
    size = ctypes.c_size_t()
    camera = aravis.arv_fake_camera_new(b"XML")
    return ctypes.string_at(aravis.arv_fake_camera_get_genicam_xml(camera, ctypes.byref(size)), size.value)


@pytest.mark.parametrize("mode", ["zip", "file"])
def test_description_from_zip_and_file_urls(tmp_path, mode):
    xml = tmp_path / "TestCamera.xml"
    xml.write_bytes(fake_camera_xml())
    knobs = {"xml": mode, "xml_file": xml}
    if mode == "zip":
        archive = tmp_path / "TestCamera.zip"
        with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED) as out:
            out.write(xml, "TestCamera.xml")
        knobs["xml_zip"] = archive
    seen = run("features", **knobs)
    assert seen["get"] == [[True, 320], [True, 200], [True, "Mono8"]]


def test_slow_port_answers_still_work():
    assert run("features", slow_ms=2)["get"][0] == [True, 320]


def test_a_port_read_past_the_timeout_returns_and_finishes_later():
    # The producer takes 3 s for the first read; the caller waits 2 s. The
    # second read waits behind the first one, which completes on its own.
    seen = run("slow", slow_ms=3000, slow_reads=1)
    assert seen["first"] == -1011
    assert seen["second"] == [0, seen["width"][1]] and seen["width"][0]


def test_producer_without_optional_exports():
    seen = run("minimal", producer=MINIMAL)
    assert seen["types"] == [6]
    assert seen["names"] == [" CL0-0 (CL0-0)", " CL0-1 (CL0-1)", " CXP0-0 (CXP0-0)", " SDI0-0 (SDI0-0)",
                             " GEV0-0 (GEV0-0)"]
    assert seen["valid"] and seen["camera"] and seen["stream"]


def test_consumer_calls_conform(tmp_path):
    log = tmp_path / "calls.log"
    run("grab", extra=3, log=log)
    calls = log.read_text().splitlines()
    names = [line.split()[0] for line in calls]
    assert names[:2] == ["GCInitLib", "TLOpen"]
    # Every id and info text is asked for its size first, then read with it
    # (the access status is a number of fixed size).
    for i, line in enumerate(calls):
        if " buffer=1 " in line and not (line.startswith("IFGetDeviceInfo") and " cmd=5 " in line):
            asked = calls[i - 1]
            assert asked.split(" buffer=")[0] == line.split(" buffer=")[0] and " buffer=0 " in asked, line
    # The data stream starts before the camera's AcquisitionStart (register
    # 0x124) and stops after its AcquisitionStop.
    start = names.index("DSStartAcquisition")
    writes = [i for i, line in enumerate(calls) if line.startswith("GCWritePort address=124 ")]
    assert start < writes[0]
    assert names.index("DSStopAcquisition") > writes[-1]
    assert all(line == f"DSAnnounceBuffer size={640 * 480}" for line in calls if line.startswith("DSAnnounceBuffer"))
    assert names.count("DSRevokeBuffer") == names.count("DSAnnounceBuffer") == 8
    assert names[-1] == "DSClose" or "DevClose" in names[names.index("DSClose"):]
