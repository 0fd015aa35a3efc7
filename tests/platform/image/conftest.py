"""Fixtures of the image library tests: the five libraries and their components."""

import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent))

from kyrimage import ImageLibraries, Params  # noqa: E402


@pytest.fixture(scope="session")
def libs(real_lib):
    return ImageLibraries(real_lib)


@pytest.fixture
def unpacker(libs):
    handle = libs.KyrImageUnpacker_CreateComponent()
    yield handle, Params(libs.KyrImageUnpacker_GetComponent(handle))
    libs.KyrImageUnpacker_DeleteComponent(handle)


@pytest.fixture
def converter(libs):
    handle = libs.KyrImageConverter_CreateComponent()
    yield handle
    libs.KyrImageConverter_DeleteComponent(handle)


@pytest.fixture
def bayer(libs):
    handle = libs.KyrBayer_CreateComponent()
    yield handle
    libs.KyrBayer_DeleteComponent(handle)


@pytest.fixture
def serializer(libs):
    handle = libs.KyrImageSerializer_CreateComponent(1)
    yield handle, Params(libs.KyrImageSerializer_GetComponent(handle))
    libs.KyrImageSerializer_DeleteComponent(handle)
