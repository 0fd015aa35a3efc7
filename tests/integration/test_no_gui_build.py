"""A build without Qt 6 (KYR_GUI=OFF, as on Debian 11): the module's display
and dialog functions fail loudly, each with its usual failure answer and the
platform's line saying why, and never open or pretend to open a window."""

import pytest

from kyrbuild import REAL_LIB

NO_DISPLAY = "KyrDisplayQt: built without Qt 6, so no display can be opened\n"
NO_DIALOG = "KyrCameraGuiApi: built without Qt 6, so no dialog can be opened\n"

pytestmark = pytest.mark.skipif(b"libQt6Widgets" in (REAL_LIB / "libKyrDisplayQt.so").read_bytes(),
                                reason="this build has the display and dialogs on Qt 6")


@pytest.mark.parametrize("call, result, stderr", [
    (lambda kyr: kyr.PyCreateDisplay(0), False, NO_DISPLAY + "Wrong display\n"),
    (lambda kyr: kyr.PyKyrSystem().SelectCamera(), None, NO_DIALOG + "Wrong deviceInfo\n"),
    (lambda kyr: kyr.PyKyrSystem().SelectCamera(0, False), None, NO_DIALOG + "Wrong deviceInfo\n"),
    (lambda kyr: kyr.PyActionCamera(), None, NO_DIALOG),
], ids=["display", "select", "select-no-rescan", "action"])
def test_gui_functions_fail_loudly(kyr, capfd, call, result, stderr):
    capfd.readouterr()
    assert call(kyr) is result
    assert capfd.readouterr() == ("", stderr)


def test_tree_view_is_a_null_view_that_destroys_quietly(kyr, capfd):
    [params, *_] = [iface.GetParameters() for iface in kyr.PyKyrSystem().GetInterfaceList()]
    capfd.readouterr()
    view = kyr.PyCreateGenParamTreeViewForArray(params)
    assert type(view).__name__ == "N8KyrGuiPy14PyGenParamViewE"
    assert capfd.readouterr() == ("", NO_DIALOG)
    assert kyr.PyDestroyGenParamTreeView(view) and kyr.PyDestroyGenParamTreeView(view)
    assert capfd.readouterr() == ("", "")
