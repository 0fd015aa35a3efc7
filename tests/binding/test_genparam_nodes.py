"""The feature node wrappers: typed values, entries, commands, the category
tree and the generic feature view."""

import pytest

from kyrscript import Boolean, Category, Command, Enum, Float, Int, String

ARRAY = "if0-params"

FEATURES = (
    Category("Root", "ImageFormat", "Acquisition", "Exposure"),
    Category("ImageFormat", "Width", "PixelFormat", "Binning"),
    Category("Binning", "BinningHorizontal"),
    Category("Acquisition", "Start", "DeviceUserID"),
    Int("Width", 640, GetMin=16, GetMax=4096, GetIncrement=16),
    Int("BinningHorizontal", 1),
    Enum("PixelFormat", "Mono8", {"Mono8": 1, "Mono10": 2, "Mono12": 3}),
    Command("Start"),
    String("DeviceUserID", "left", GetMaxLength=16),
    Float("Exposure", 1000.0, GetMin=10.0, GetMax=1e6, GetUnit="us"),
    Boolean("Flag", True),  # outside the tree
)

TREE = {
    "ImageFormat": {"Width": "PyGenParam", "PixelFormat": "PyGenParam", "Binning": {"BinningHorizontal": "PyGenParam"}},
    "Acquisition": {"Start": "PyGenParam", "DeviceUserID": "PyGenParam"},
    "Exposure": "PyGenParam",
}


def test_walk_from_the_root_over_every_level(params, scripted):
    def walk(category):
        tree = {}
        for index in range(category.GetCount()):
            scripted.calls()
            child = category.GetParamByIndex(index)
            # A category wrapper has no GetName: the log names the feature.
            name = scripted.calls()[-1].split("/")[-1].split(".")[0]
            if type(child).__name__ == "PyGenParamCategory":
                assert child.GetType() == 8
                tree[name] = walk(child)
            else:
                assert child.GetName() == name
                tree[name] = type(child).__name__
        return tree

    assert walk(params.GetRootCategory()) == TREE


@pytest.mark.parametrize(
    "getter, native, expected",
    [
        ("GetValue", "GetValue", 640),
        ("GetMin", "GetMin", 16),
        ("GetMax", "GetMax", 4096),
        ("GetIncrement", "GetIncrement", 16),
    ],
)
def test_integer_pairs_drop_the_value_on_failure(params, scripted, getter, native, expected):
    width = params.GetInt("Width")
    assert getattr(width, getter)() == (True, expected)
    scripted.answer(f"{ARRAY}/Width.{native}.err", -1010)
    assert getattr(width, getter)() == (False, None), "never (False, value)"


def test_float_and_string_values(params, scripted):
    exposure = params.GetFloat("Exposure")
    assert (exposure.GetValue(), exposure.GetMin(), exposure.GetMax(), exposure.GetUnit()) == (
        (True, 1000.0), (True, 10.0), (True, 1e6), (True, "us"))
    assert exposure.SetValue(12) is True
    assert exposure.GetValue() == (True, 12.0)
    scripted.answer(f"{ARRAY}/Exposure.GetUnit.err", -1014)
    assert exposure.GetUnit() == (False, None)

    user_id = params.GetString("DeviceUserID")
    assert user_id.GetMaxLength() == 16
    assert user_id.SetValue(3.25) is True, "the str() form is written"
    assert user_id.GetValue() == (True, "3.25")


@pytest.mark.parametrize(
    "wrapper, call, args, logged",
    [
        ("GetInt", "SetValue", (2**40 + 3,), "Width.SetValue(1099511627779)"),
        ("GetEnum", "GetEnumEntryByIndex", (2**32 + 1,), "PixelFormat.GetEnumEntryByIndex(4294967297)"),
        ("GetParam", "IsVisible", (2**32 + 2,), "Width.IsVisible(2)"),
        ("GetString", "GetMaxLength", (), "DeviceUserID.GetMaxLength(null)"),
        ("GetCommand", "IsDone", (), "Start.IsDone(null)"),
    ],
)
def test_native_calls_receive_the_narrowed_arguments(params, scripted, wrapper, call, args, logged):
    name = logged.split(".")[0]
    node = getattr(params, wrapper)(name)
    scripted.calls()
    getattr(node, call)(*args)
    assert scripted.calls() == [f"{ARRAY}/{logged}"]


def test_category_index_keeps_its_low_32_bits(params, scripted):
    root = params.GetRootCategory()
    scripted.calls()
    assert root.GetParamByIndex(2**32 + 2).GetName() == "Exposure"
    assert params.GetParamByIndex(2**32 + 4).GetName() == "Width"
    assert [call for call in scripted.calls() if "ByIndex" in call] == [
        f"{ARRAY}/Root.GetParamByIndex(2)",
        f"{ARRAY}.GetParamByIndex(4)",
    ]


def test_index_past_the_end_answers_none(params):
    root = params.GetRootCategory()
    assert root.GetParamByIndex(3) is None
    assert params.GetParamByIndex(params.GetCount()) is None
    assert params.GetLastError() == -1017
    assert params.GetEnum("PixelFormat").GetEnumEntryByIndex(3) is None


def test_enum_entries(params, scripted):
    pixel_format = params.GetEnum("PixelFormat")
    assert (pixel_format.GetCount(), pixel_format.GetValue(), pixel_format.GetValueStr()) == (
        (True, 3), (True, 1), (True, "Mono8"))
    entries = [pixel_format.GetEnumEntryByIndex(index) for index in range(3)]
    assert [(e.GetValueStr(), e.GetValue(), e.GetType(), e.IsAvailable()) for e in entries] == [
        ((True, "Mono8"), (True, 1), 5, True),
        ((True, "Mono10"), (True, 2), 5, True),
        ((True, "Mono12"), (True, 3), 5, True),
    ]
    assert pixel_format.SetValue(3) is True
    assert pixel_format.SetValueStr("Mono10") is True
    assert pixel_format.SetValueStr("Mono99") is False
    assert pixel_format.GetValueStr() == (True, "Mono10")
    scripted.answer(f"{ARRAY}/PixelFormat.GetEnumEntryByIndex", None)
    assert pixel_format.GetEnumEntryByIndex(0) is None


@pytest.mark.parametrize(
    "wrapper, name, method, message, failure",
    [
        ("GetInt", "Width", "SetValue", "SetValue", False),
        ("GetFloat", "Exposure", "SetValue", "SetValue", False),
        ("GetString", "DeviceUserID", "SetValue", "SetValue", False),
        ("GetBoolean", "Flag", "SetValue", "SetValue", False),
        ("GetEnum", "PixelFormat", "SetValue", "GPyGenParamEnum_SetValue", None),
        ("GetEnum", "PixelFormat", "SetValueStr", "GPyGenParamEnum_SetValueStr", None),
        ("GetEnum", "PixelFormat", "GetEnumEntryByIndex", "GetEnumEntryByIndex", None),
        ("GetParam", "Width", "IsVisible", "IsVisible", False),
        ("GetRootCategory", None, "GetParamByIndex", "GetParamByIndex", None),
    ],
)
def test_too_few_arguments_print_their_own_message(params, scripted, capfd, wrapper, name, method, message, failure):
    node = getattr(params, wrapper)(*([name] if name else []))
    scripted.calls()
    assert getattr(node, method)() == failure
    assert capfd.readouterr() == ("", f"{message} not enough actual args\n")
    assert scripted.calls() == []


@pytest.mark.parametrize(
    "wrapper, name, args, error",
    [
        ("GetInt", "Width", ("640",), None),
        ("GetInt", "Width", ("wide",), ValueError),
        ("GetFloat", "Exposure", ("long",), TypeError),
        ("GetEnum", "PixelFormat", ("Mono10",), ValueError),
        ("GetParam", "Width", ("expert",), ValueError),
    ],
)
def test_value_conversions(params, wrapper, name, args, error):
    node = getattr(params, wrapper)(name)
    method = "IsVisible" if wrapper == "GetParam" else "SetValue"
    if error is None:
        assert getattr(node, method)(*args) is True
    else:
        with pytest.raises(error):
            getattr(node, method)(*args)


def test_enum_by_name_takes_only_str(params, scripted):
    pixel_format = params.GetEnum("PixelFormat")
    scripted.calls()
    with pytest.raises(TypeError):
        pixel_format.SetValueStr(2)
    assert scripted.calls() == []


def test_node_setters_answer_the_native_status(params, scripted):
    width = params.GetInt("Width")
    scripted.answer(f"{ARRAY}/Width.SetValue", -40204)
    assert width.SetValue(17) is False
    assert params.GetLastError() == 0, "nodes keep no error"
    start = params.GetCommand("Start")
    assert start.Execute() is True
    scripted.answer(f"{ARRAY}/Start.Execute", -1022)
    scripted.answer(f"{ARRAY}/Start.IsDone", 0)
    assert (start.Execute(), start.IsDone()) == (False, False)


def test_generic_view_of_a_feature(params, scripted):
    scripted.answers(f"{ARRAY}/Width", GetToolTip="Image width", GetDescription="Width of the image in pixels",
                     GetDisplayName="Width (px)", GetVisibility=1, IsStreamable=1, IsWritable=0)
    width = params.GetParam("Width")
    assert (width.GetType(), width.GetName(), width.GetToolTip(), width.GetDescription(), width.GetDisplayName()) == (
        1, "Width", "Image width", "Width of the image in pixels", "Width (px)")
    assert width.GetVisibility() == 1
    assert [width.IsVisible(level) for level in range(3)] == [False, True, True]
    assert [width.IsValueCached(), width.IsAvailable(), width.IsWritable(), width.IsReadable(),
            width.IsStreamable()] == [False, True, False, True, True]
    assert not hasattr(width, "GetValue"), "no typed methods on the generic view"
    assert not hasattr(params.GetInt("Width"), "GetName")


def test_typed_wrappers_ask_the_native_type(params, scripted):
    scripted.answer(f"{ARRAY}/Width.GetType", 42)
    assert params.GetInt("Width").GetType() == 42


def test_each_node_request_makes_a_new_object(params, scripted):
    width = params.GetParam("Width")
    first, second = width.GetNode(), width.GetNode()
    assert type(first).__name__ == "PyGenParamNode" and first is not second
    assert first.IsFeature() is True
    scripted.answer(f"{ARRAY}/Width#node.IsFeature", 0)
    assert second.IsFeature() is False
    scripted.answer(f"{ARRAY}/Width.GetNode", None)
    assert width.GetNode() is None


def test_category_over_no_native_object(params, scripted, capfd):
    # A feature that calls itself a category but is none: the cast gives null.
    scripted.answer(f"{ARRAY}/Width.GetType", 8)
    fake = params.GetParam("Width")
    assert type(fake).__name__ == "PyGenParamCategory"
    scripted.calls()
    assert (fake.GetType(), fake.GetCount(), fake.GetParamByIndex(0)) == (0, 0, None)
    assert fake.GetParamByIndex() is None
    assert capfd.readouterr().err == "GetParamByIndex not enough actual args\n"
    assert scripted.calls() == []


def test_node_map_has_no_methods(params):
    ok, node_map = params.GetNodeMap()
    assert ok
    for name in ("GetCount", "IsFeature", "GetType"):
        with pytest.raises(AttributeError):
            getattr(node_map, name)
