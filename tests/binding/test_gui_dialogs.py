"""The dialog and tree-view functions of the GUI module: the calls each makes
on the GUI library (titles byte for byte), its messages and results, and a
tree view emptied before the device whose features it shows is released."""

import gc

import pytest

TITLE_SELECT = '"Select Camera"'
TITLE_ACTION = '"Action Camera"'
TITLE_TREE = '"Gen<i>Cam camera parameters"'


def gui_calls(scripted):
    """The calls logged since the last look, without the system's and the
    device infos' own."""
    return [call for call in scripted.calls() if not call.startswith(("KyrCam_GetSystem", "system.", "cam"))]


def test_select_camera_passes_parent_and_flag_and_wraps_the_choice(kyr, scripted, capfd):
    system = kyr.PyKyrSystem()
    assert type(system).__name__ == "PyKyrSystem"
    scripted.calls()

    assert system.SelectCamera() is None
    assert capfd.readouterr().err == "Wrong deviceInfo\n"
    assert gui_calls(scripted) == [f"SelectCameraW(system, {TITLE_SELECT}, 0, 1) -> null"]

    scripted.answer("SelectCameraW", "cam2")
    scripted.answers("cam2", GetSerialNumber="S-2", GetModel="M")
    for args, logged in [((7, 0), "7, 0"), ((-1, []), "-1, 0"), ((3, "yes"), "3, 1"), ((2.9,), "2, 1")]:
        info = system.SelectCamera(*args)
        assert type(info).__name__ == "PyDeviceInfo" and info.GetSerialNumber() == "S-2"
        assert gui_calls(scripted) == [f"SelectCameraW(system, {TITLE_SELECT}, {logged}) -> cam2"]
    assert capfd.readouterr().err == ""

    # The plain action method stays the base one even here.
    assert system.ActionCamera(1) is None
    with pytest.raises(OverflowError):
        system.SelectCamera(2**63)
    with pytest.raises(TypeError):
        system.SelectCamera(None)
    assert gui_calls(scripted) == []


def test_action_camera_opens_the_dialog_on_the_system(kyr, scripted, capfd):
    assert kyr.PyActionCamera() is None
    assert kyr.PyActionCamera(0x2A00007) is None
    scripted.answer("ActionCameraW.err", -1005)
    assert kyr.PyActionCamera(-3) is None
    assert capfd.readouterr() == ("", "")
    assert gui_calls(scripted) == [f"ActionCameraW(system, {TITLE_ACTION}, {parent})"
                                   for parent in (0, 0x2A00007, -3)]

    scripted.answer("KyrCam_GetSystem", None)
    assert kyr.PyActionCamera() is None
    assert capfd.readouterr().err == "Wrong System\n"
    assert gui_calls(scripted) == []


def test_tree_view_arguments_and_messages(kyr, scripted, capfd):
    scripted.interfaces("if0")
    [iface] = kyr.PyKyrSystem().GetInterfaceList()
    params = iface.GetParameters()
    scripted.calls()

    assert kyr.PyCreateGenParamTreeViewForArray() is None
    assert capfd.readouterr().err == "CreateGenParamTreeViewForArray not enough actual args\n"
    assert kyr.PyCreateGenParamTreeViewForArray(iface) is None
    assert capfd.readouterr().err == "Wrong GenParams\n"
    assert kyr.PyDestroyGenParamTreeView() is False
    assert capfd.readouterr().err == "DestroyGenParamTreeView not enough actual args\n"
    assert kyr.PyDestroyGenParamTreeView(5) is False
    assert kyr.PyDestroyGenParamTreeView(params) is False
    assert capfd.readouterr() == ("", "")
    assert gui_calls(scripted) == []

    view = kyr.PyCreateGenParamTreeViewForArray(params)
    framed = kyr.PyCreateGenParamTreeViewForArray(params, 0x5A0000B)
    assert type(view).__name__ == "N8KyrGuiPy14PyGenParamViewE"
    assert [name for name in dir(view) if not name.startswith("__")] == []
    created = gui_calls(scripted)
    assert [call.rsplit(" -> ", 1)[0] for call in created] == [
        f"CreateGenParamTreeViewForArrayW(if0-params, {TITLE_TREE}, 0x0)",
        f"CreateGenParamTreeViewForArrayW(if0-params, {TITLE_TREE}, 0x5a0000b)",
    ]
    first, second = (call.rsplit(" -> ", 1)[1] for call in created)

    # Destroyed once, however often asked; the scripted library counts a
    # second destruction as a use after release.
    assert [kyr.PyDestroyGenParamTreeView(view) for _ in range(3)] == [True] * 3
    assert kyr.PyDestroyGenParamTreeView(framed, "extra") is True
    assert gui_calls(scripted) == [f"{first}.Destroy()", f"{second}.Destroy()"]

    # A null view is wrapped too, and destroying it calls nothing.
    scripted.answer("CreateGenParamTreeViewForArrayW", None)
    empty = kyr.PyCreateGenParamTreeViewForArray(params)
    assert type(empty).__name__ == "N8KyrGuiPy14PyGenParamViewE"
    assert kyr.PyDestroyGenParamTreeView(empty) is True
    assert [call.split("(")[0] for call in gui_calls(scripted)] == ["CreateGenParamTreeViewForArrayW"]
    assert capfd.readouterr() == ("", "")


def test_tree_view_is_emptied_before_its_device_is_released(kyr, device, scripted):
    params = device.GetCameraParameters()
    kept = kyr.PyCreateGenParamTreeViewForArray(params)
    kyr.PyCreateGenParamTreeViewForArray(params)  # dropped at once: the window stays
    destroyed = kyr.PyCreateGenParamTreeViewForArray(params)
    transport = kyr.PyCreateGenParamTreeViewForArray(device.GetTransportParameters())
    gc.collect()
    views = [call.rsplit(" -> ", 1)[1] for call in gui_calls(scripted)]
    assert kyr.PyDestroyGenParamTreeView(destroyed) is True
    scripted.calls()

    device.Release()
    calls = gui_calls(scripted)
    release = calls.index("device.Release()")
    cleared = sorted(call for call in calls[:release] if call.endswith(".ClearParams()"))
    # Every view still open over the device's arrays, held or not; never the
    # destroyed one (that would be a use after release).
    assert cleared == sorted(f"{view}.ClearParams()" for view in (views[0], views[1], views[3]))
    assert not any(call.endswith(".ClearParams()") for call in calls[release:])

    # The features of a released device are not shown at all.
    late = kyr.PyCreateGenParamTreeViewForArray(params)
    assert type(late).__name__ == "N8KyrGuiPy14PyGenParamViewE"
    assert gui_calls(scripted) == []
    for view in (kept, transport, late):
        assert kyr.PyDestroyGenParamTreeView(view) is True


def test_many_views_over_one_device_do_not_pile_up(kyr, device, scripted):
    params = device.GetCameraParameters()
    for _ in range(200):
        assert kyr.PyDestroyGenParamTreeView(kyr.PyCreateGenParamTreeViewForArray(params)) is True
    scripted.calls()
    device.Release()
    assert not any(call.endswith(".ClearParams()") for call in gui_calls(scripted))
