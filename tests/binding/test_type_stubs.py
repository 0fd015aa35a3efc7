"""The type stubs against the module: the same functions, types, methods and
constants in both, and the examples type-check against them."""

import ast
import os
import subprocess
import sys

import pytest

from kyrbuild import REPO
from kyrscript import Boolean, Category, Command, Enum, Float, Int, String, frame

STUBS = REPO / "stubs"
STUB = STUBS / "libKyrCameraGuiApiPy.pyi"
# Made only by the parameter tree views of the GUI module.
VIEW = "N8KyrGuiPy14PyGenParamViewE"

ARRAY = "if0-params"
FEATURES = (
    Category("Root", "Width"),
    Int("Width", 640),
    Float("Exposure", 1000.0),
    String("DeviceUserID", "left"),
    Boolean("Flag", True),
    Enum("PixelFormat", "Mono8", {"Mono8": 1}),
    Command("Start"),
)


def parse_stub():
    """(callables, classes) declared by the stub: the functions and the
    classes that can be called (PyKyrSystem, a function at run time); each
    class maps to its methods, which of them take no arguments, and its
    constants."""
    functions, classes = set(), {}
    for node in ast.parse(STUB.read_text()).body:
        if isinstance(node, ast.FunctionDef):
            functions.add(node.name)
        elif isinstance(node, ast.ClassDef):
            methods, no_args, constants = set(), set(), {}
            for member in node.body:
                if isinstance(member, ast.FunctionDef) and member.name == "__init__":
                    functions.add(node.name)
                elif isinstance(member, ast.FunctionDef):
                    methods.add(member.name)
                    arguments = member.args
                    if len(arguments.posonlyargs + arguments.args) == 1 and not arguments.vararg:
                        no_args.add(member.name)
                elif isinstance(member, ast.AnnAssign):
                    constants[member.target.id] = ast.literal_eval(member.value)
            classes[node.name] = (methods, no_args, constants)
    return functions, classes


FUNCTIONS, CLASSES = parse_stub()


@pytest.fixture
def objects(kyr, scripted, params, device, stream):
    """One object of every type the module hands out, found by walking from
    the module functions on the scripted platform."""
    scripted.interface("if0", "cam0")
    [iface] = kyr.PyKyrSystem().GetInterfaceList()
    scripted.push("device-stream0.GetBuffer", frame(b"\x01", width=1, height=1))
    buffer = stream.GetBuffer(100)
    found = [
        kyr.PyKyrSystem(), iface, iface.GetDeviceInfoList()[0], device, stream, buffer, buffer.GetImage(),
        params, params.GetParam("Width"), params.GetParam("Width").GetNode(), params.GetNodeMap()[1],
        params.GetRootCategory(), params.GetInt("Width"), params.GetFloat("Exposure"),
        params.GetString("DeviceUserID"), params.GetBoolean("Flag"), params.GetEnum("PixelFormat"),
        params.GetEnum("PixelFormat").GetEnumEntryByIndex(0), params.GetCommand("Start"),
    ]
    view = kyr.PyCreateGenParamTreeViewForArray(params, 0)
    if view is not None:
        found.append(view)
    assert None not in found
    by_type = {type(instance).__name__: instance for instance in found}
    assert len(by_type) == len(found), "two objects of one type"
    return by_type


def test_module_functions(kyr):
    assert {name for name in dir(kyr) if callable(getattr(kyr, name))} == FUNCTIONS


def test_every_type_the_module_hands_out(objects):
    expected = set(CLASSES)
    if VIEW not in objects:
        expected.discard(VIEW)  # the GUI module's tree views do not exist yet
    assert set(objects) == expected


@pytest.mark.parametrize("name", sorted(CLASSES))
def test_methods_and_constants_of_each_type(objects, scripted, name):
    if name not in objects:
        pytest.skip(f"no {name} object to look at")
    methods, no_args, constants = CLASSES[name]
    instance = objects[name]
    assert set(instance.__methods__) == methods
    assert {constant: getattr(instance, constant) for constant in constants} == constants
    scripted.calls()
    for method in no_args:
        with pytest.raises(TypeError):
            getattr(instance, method)(0)
    assert scripted.calls() == []


@pytest.mark.skipif(os.environ.get("KYR_SANITIZED") == "1", reason="checks no native code")
def test_examples_type_check(tmp_path):
    examples = sorted(str(path) for path in (REPO / "examples").glob("*.py"))
    result = subprocess.run(
        [sys.executable, "-m", "mypy", "--python-version", "3.8", "--check-untyped-defs",
         "--cache-dir", str(tmp_path), *examples],
        env={**os.environ, "MYPYPATH": str(STUBS)}, capture_output=True, text=True)
    assert result.returncode == 0, result.stdout + result.stderr
