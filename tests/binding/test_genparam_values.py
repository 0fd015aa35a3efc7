"""PyGenParams: values and features by name, result pairs, argument
conversions, the shared messages and the last error."""

import pytest

from kyrscript import Boolean, Category, Command, Enum, Float, Int, String

ARRAY = "if0-params"
MONO8, MONO16 = 0x01080001, 0x01100007

FEATURES = (
    Category("Root", "Width", "Gain", "Label", "Enabled", "PixelFormat", "Start"),
    Int("Width", 640),
    Float("Gain", 1.5),
    String("Label", "front"),
    Boolean("Enabled", True),
    Enum("PixelFormat", "Mono8", {"Mono8": MONO8, "Mono16": MONO16}),
    Command("Start"),
)


class Unprintable:
    def __str__(self):
        raise RuntimeError("no str() form")


GETTERS = [
    ("GetIntegerValue", "Width", 640),
    ("GetFloatValue", "Gain", 1.5),
    ("GetStringValue", "Label", "front"),
    ("GetBooleanValue", "Enabled", True),
    ("GetEnumValue", "PixelFormat", MONO8),
    ("GetEnumValueStr", "PixelFormat", "Mono8"),
    ("IsCommandDone", "Start", True),
]


@pytest.mark.parametrize("method, name, value", GETTERS)
def test_getter_pairs_follow_the_native_code(params, scripted, capfd, method, name, value):
    params.SetIntegerValue("Width", 640)  # a last error of 0 to start from
    scripted.push(f"{ARRAY}.{method}.err", -40202)
    assert getattr(params, method)(name) == (False, None)
    assert params.GetLastError() == -40202

    result = getattr(params, method)(name)
    assert result == (True, value) and type(result[1]) is type(value)
    assert params.GetLastError() == 0, "a success writes 0 back"
    assert scripted.calls()[-1] == f"{ARRAY}.{method}('{name}')"
    printed = "Is command done error: -40202 GenICam: Access error\n" if method == "IsCommandDone" else ""
    assert capfd.readouterr().err == printed


@pytest.mark.parametrize(
    "method, name, value, received, getter, stored",
    [
        ("SetIntegerValue", "Width", 2**40 + 1, "1099511627777", "GetIntegerValue", 2**40 + 1),
        ("SetIntegerValue", "Width", -7.9, "-7", "GetIntegerValue", -7),
        ("SetIntegerValue", "Width", "12", "12", "GetIntegerValue", 12),
        ("SetFloatValue", "Gain", 2, "2", "GetFloatValue", 2.0),
        ("SetFloatValue", "Gain", 0.1, "0.1", "GetFloatValue", 0.1),
        ("SetStringValue", "Label", 42, "'42'", "GetStringValue", "42"),
        ("SetStringValue", "Label", None, "'None'", "GetStringValue", "None"),
        ("SetStringValue", "Label", "é ✓", "'é ✓'", "GetStringValue", "é ✓"),
        ("SetBooleanValue", "Enabled", [], "false", "GetBooleanValue", False),
        ("SetBooleanValue", "Enabled", "no", "true", "GetBooleanValue", True),
        ("SetEnumValue", "PixelFormat", MONO16, str(MONO16), "GetEnumValueStr", "Mono16"),
        ("SetEnumValueStr", "PixelFormat", "Mono16", "'Mono16'", "GetEnumValue", MONO16),
    ],
)
def test_setters_write_the_converted_value(params, scripted, method, name, value, received, getter, stored):
    assert getattr(params, method)(name, value, "surplus") is True
    assert params.GetLastError() == 0
    assert scripted.calls() == [f"{ARRAY}.{method}('{name}', {received})"]
    assert getattr(params, getter)(name) == (True, stored)


def test_names_are_taken_by_their_str_form(params, scripted):
    scripted.parameters(ARRAY, Int("7", 3))
    assert params.GetIntegerValue(7) == (True, 3)
    assert params.SetStringValue(7.5, "x") is False
    assert scripted.calls() == [f"{ARRAY}.GetIntegerValue('7')", f"{ARRAY}.SetStringValue('7.5', 'x')"]


@pytest.mark.parametrize(
    "method, args, error",
    [
        ("SetIntegerValue", ("Width", "wide"), ValueError),
        ("SetIntegerValue", ("Width", None), TypeError),
        ("SetIntegerValue", ("Width", 2**64), OverflowError),
        ("SetFloatValue", ("Gain", "high"), TypeError),
        ("SetEnumValue", ("PixelFormat", "Mono16"), ValueError),
        ("SetEnumValueStr", ("PixelFormat", 5), TypeError),
        ("SetEnumValueStr", (5, "Mono16"), TypeError),
        ("SetStringValue", ("Label", "\ud800"), UnicodeEncodeError),
        ("SetStringValue", ("Label", Unprintable()), RuntimeError),
        ("GetIntegerValue", (Unprintable(),), RuntimeError),
    ],
)
def test_unconvertible_values_raise_before_any_native_call(params, scripted, method, args, error):
    params.SetIntegerValue("Nope", 1)
    scripted.calls()
    with pytest.raises(error):
        getattr(params, method)(*args)
    assert scripted.calls() == []
    assert params.GetLastError() == -40205, "the last error is left as it was"


@pytest.mark.parametrize(
    "method, name, value",
    [
        ("SetIntegerValue", "Width", 1),
        ("SetFloatValue", "Gain", 1.0),
        ("SetStringValue", "Label", "x"),
        ("SetBooleanValue", "Enabled", True),
        ("SetEnumValue", "PixelFormat", MONO8),
        ("SetEnumValueStr", "PixelFormat", "Mono8"),
    ],
)
def test_failing_setter_answers_false_and_keeps_the_code(params, scripted, capfd, method, name, value):
    scripted.push(f"{ARRAY}.{method}", -1010)
    assert getattr(params, method)(name, value) is False
    assert params.GetLastError() == -1010
    assert getattr(params, method)(name, value) is True
    assert params.GetLastError() == 0
    assert capfd.readouterr().err == ""


def test_commands_run_once_and_report_their_code(params, scripted):
    assert params.ExecuteCommand("Start") is True
    scripted.answer(f"{ARRAY}/Start.Execute", -1022)
    assert params.ExecuteCommand("Start") is False
    assert params.GetLastError() == -1022
    assert params.ExecuteCommand("Width") is False
    assert params.GetLastError() == -40203, "a feature of another type"
    assert scripted.calls() == [f"{ARRAY}.ExecuteCommand('{name}')" for name in ("Start", "Start", "Width")]


TOO_FEW = [
    ("GetParamByIndex", 1, "GetParamByIndex", None),
    ("GetParam", 1, "GetParamByIndex", None),
    ("GetBoolean", 1, "GetBoolean", None),
    ("GetBooleanValue", 1, "GetBooleanValue", (False, None)),
    ("SetBooleanValue", 2, "SetBooleanValue", False),
    ("GetInt", 1, "GetInt", None),
    ("SetIntegerValue", 2, "SetIntegerValue", False),
    ("GetIntegerValue", 1, "GetIntegerValue", (False, None)),
    ("GetFloat", 1, "GetFloat", None),
    ("SetFloatValue", 2, "SetFloatValue", False),
    ("GetFloatValue", 1, "GetFloatValue", (False, None)),
    ("GetCommand", 1, "GetCommand", None),
    ("ExecuteCommand", 1, "ExecuteCommand", False),
    ("IsCommandDone", 1, "IsCommandDone", (False, None)),
    ("GetString", 1, "GetString", None),
    ("GetStringValue", 1, "GetStringValue", (False, None)),
    ("SetStringValue", 2, "SetStringValue", False),
    ("GetEnum", 1, "GetEnum", None),
    ("GetEnumValueStr", 1, "GetStringValue", (False, None)),
    ("GetEnumValue", 1, "GetEnumValue", (False, None)),
    ("SetEnumValue", 2, "SetEnumValue", False),
    ("SetEnumValueStr", 2, "SetEnumValueStr", False),
]


@pytest.mark.parametrize("method, needed, named, failure", TOO_FEW)
def test_too_few_arguments_print_and_set_the_last_error(params, scripted, capfd, method, needed, named, failure):
    # The value would not even convert: the count is tested first.
    args = ("Width", object())[: needed - 1]
    assert getattr(params, method)(*args) == failure
    assert capfd.readouterr() == ("", f"{named} not enough actual args\n")
    assert params.GetLastError() == -40121
    assert scripted.calls() == []


@pytest.mark.parametrize(
    "method, name, wrapper, code",
    [
        ("GetInt", "Width", "PyGenParamInt", -40203),
        ("GetFloat", "Gain", "PyGenParamFloat", -40203),
        ("GetString", "Label", "PyGenParamString", -40203),
        ("GetBoolean", "Enabled", "PyGenParamBoolean", -40203),
        ("GetEnum", "PixelFormat", "PyGenParamEnum", -40203),
        ("GetCommand", "Start", "PyGenParamCommand", -40203),
    ],
)
def test_typed_look_ups(params, capfd, method, name, wrapper, code):
    found = getattr(params, method)(name)
    assert type(found).__name__ == wrapper
    assert params.GetLastError() == 0
    assert getattr(params, method)("Root") is None, "a category is of no typed kind"
    assert params.GetLastError() == code
    assert getattr(params, method)("Nope") is None
    assert params.GetLastError() == -40205
    printed = capfd.readouterr().err
    if method == "GetCommand":
        assert printed == (
            "Get command(Root) error: -40203 GenICam: Parameter type is invalid\n"
            "Get command(Nope) error: -40205 GenICam: Unknown parameter\n"
        )
    else:
        assert printed == ""


def test_a_null_answer_with_code_0_is_no_feature(params, scripted, capfd):
    scripted.answer(f"{ARRAY}.GetInt", None)
    scripted.answer(f"{ARRAY}.GetCommand", None)
    assert params.GetInt("Width") is None
    assert params.GetCommand("Start") is None
    assert params.GetLastError() == 0
    assert capfd.readouterr().err == "Get command(Start) error: 0 OK\n"


def test_get_param_keeps_its_code_out_of_the_last_error(params):
    params.ExecuteCommand("Start")
    assert params.GetParam("Nope") is None
    assert params.GetLastError() == 0
    assert type(params.GetParam("Width")).__name__ == "PyGenParam"
    assert type(params.GetParam("Root")).__name__ == "PyGenParamCategory"


def test_root_category_and_node_map_report_their_failures(params, scripted, capfd):
    assert type(params.GetRootCategory()).__name__ == "PyGenParamCategory"
    ok, node_map = params.GetNodeMap()
    assert ok is True and type(node_map).__name__ == "PyGenParamNodeMap"
    assert capfd.readouterr().err == ""

    scripted.answer(f"{ARRAY}.GetRootCategory.err", -40201)
    scripted.answer(f"{ARRAY}.GetNodeMap.err", -1014)
    assert params.GetRootCategory() is None
    assert params.GetNodeMap() == (False, None)
    assert params.GetLastError() == -1014
    scripted.answer(f"{ARRAY}.GetRootCategory.err", 0)
    scripted.answer(f"{ARRAY}.GetRootCategory", None)
    assert params.GetRootCategory() is None
    assert capfd.readouterr().err == (
        "Get root category error: -40201 GenICam: Tree error\n"
        "Get node map error: -1014 GenTL: Resource or information is not available at a given time in a "
        "current state.\n"
        "Get root category error: 0 OK\n"
    )


def test_type_and_visibility_names_are_attributes(params):
    names = ["ParamUnknown", "ParamInt", "ParamFloat", "ParamString", "ParamEnum", "ParamEnumEntry",
             "ParamBoolean", "ParamCommand", "ParamCategory"]
    assert [getattr(params, name) for name in names] == list(range(9))
    levels = ["VisBeginner", "VisExpert", "VisGuru", "VisInvisible", "VisUndefined"]
    assert [getattr(params, name) for name in levels] == list(range(5))
    assert params.GetCount() == 7, "methods are still found"
    with pytest.raises(AttributeError):
        params.paramcategory
