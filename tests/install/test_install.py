"""pip installs the checkout offline into a fresh venv; the installed module
imports from anywhere, finds its private libraries, and names no build tree.

The pip build's CMake tree is KYR_BUILD_DIR/pip, kept between runs, so only
the first run compiles everything."""

import json
import os
import subprocess
import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from kyrbuild import BUILD, REAL_LIB, REPO  # noqa: E402

MODULE = "libKyrCameraGuiApiPy"
PIP_BUILD = BUILD / "pip"

# Runs in the venv, from a folder outside the checkout.
SMOKE = """
import json, sys
import libKyrCameraGuiApiPy as kyr
interfaces = kyr.PyKyrSystem().GetInterfaceList() if sys.argv[1:] == ["list"] else []
print(json.dumps({"file": kyr.__file__, "name": kyr.__name__, "error": kyr.ErrorCodeToString(-1001),
                  "interfaces": [iface.GetDescription() for iface in interfaces]}))
"""


@pytest.fixture(scope="module")
def venv(tmp_path_factory):
    """(venv's python, its site-packages) with the checkout installed."""
    root = tmp_path_factory.mktemp("venv")
    subprocess.run(["/usr/bin/python3", "-m", "venv", "--system-site-packages", str(root)], check=True)
    python = root / "bin" / "python"
    subprocess.run([str(root / "bin" / "pip"), "install", "--quiet", "--no-build-isolation", "--no-index",
                    "--no-cache-dir", str(REPO)],
                   env={**os.environ, "KYR_PIP_BUILD_DIR": str(PIP_BUILD)}, check=True)
    site = subprocess.run([str(python), "-c", "import sysconfig; print(sysconfig.get_path('platlib'))"],
                          check=True, capture_output=True, text=True).stdout.strip()
    return python, Path(site)


def smoke(python, folder, *args, private_network=False):
    command = [str(python), "-c", SMOKE, *args]
    if private_network:
        command = ["unshare", "-n", "sh", "-c", 'ip link set lo up && exec "$@"', "sh", *command]
    run = subprocess.run(command, cwd=folder, capture_output=True, text=True, timeout=60)
    assert run.returncode == 0, run.stderr
    return json.loads(run.stdout)


def runpath(path):
    dynamic = subprocess.run(["readelf", "-d", str(path)], check=True, capture_output=True, text=True).stdout
    return [line.split("[", 1)[1].rstrip("]") for line in dynamic.splitlines() if "RUNPATH" in line or "RPATH" in line]


def test_layout_and_run_paths(venv):
    _, site = venv
    libs = site / f"{MODULE}.libs"
    ours = {path.name for path in site.iterdir() if path.name.startswith(MODULE) and "dist-info" not in path.name}
    assert ours == {f"{MODULE}.so", f"{MODULE}.pyi", libs.name}
    # The real platform exactly, GUI libraries included; nothing scripted.
    built = {path.name for path in REAL_LIB.glob("lib*.so")} - {f"{MODULE}.so"}
    assert {path.name for path in libs.iterdir()} == built
    assert [path.name for path in site.glob("lib*.so")] == [f"{MODULE}.so"]
    assert runpath(site / f"{MODULE}.so") == [f"$ORIGIN/{libs.name}"]
    for library in libs.iterdir():
        assert runpath(library) == ["$ORIGIN"], library.name
    ldd = subprocess.run(["ldd", str(site / f"{MODULE}.so")], check=True, capture_output=True, text=True).stdout
    assert "not found" not in ldd and str(REPO) not in ldd and str(BUILD) not in ldd


def test_no_installed_file_names_the_checkout(venv):
    _, site = venv
    [dist_info] = site.glob(f"{MODULE}-*.dist-info")
    installed = [site / line.split(",")[0] for line in (dist_info / "RECORD").read_text().splitlines()]
    # direct_url.json records where pip installed from, by design.
    checked = [path for path in installed if path.name != "direct_url.json"]
    assert len(checked) >= 12
    for path in checked:
        data = path.read_bytes()
        for tree in {REPO, BUILD, PIP_BUILD}:
            assert str(tree).encode() not in data, f"{path.name} names {tree}"


def test_stubs_beside_the_module(venv):
    _, site = venv
    assert (site / f"{MODULE}.pyi").read_bytes() == (REPO / "stubs" / f"{MODULE}.pyi").read_bytes()


def test_imports_from_elsewhere(venv, tmp_path):
    python, site = venv
    found = smoke(python, tmp_path)
    assert found["file"] == str(site / f"{MODULE}.so")
    assert found["name"] == "KyrCameraApiPy"
    assert found["error"] == "GenTL: Unspecified runtime error"


@pytest.mark.skipif(os.geteuid() != 0, reason="a private network namespace needs root")
def test_lists_interfaces_in_a_private_network(venv, tmp_path):
    python, _ = venv
    found = smoke(python, tmp_path, "list", private_network=True)
    assert "GigE Vision lo (127.0.0.1)" in found["interfaces"]
