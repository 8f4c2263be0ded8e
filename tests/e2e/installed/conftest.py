"""One appliance for all tests here, made whole again behind each of them."""

import os

import pytest

from installed import Installed


@pytest.fixture(scope="session", name="namespace")
def made_once():
    if os.geteuid() != 0:
        pytest.skip("only root installs for another user")
    made = Installed()
    try:
        if not made.is_up:
            pytest.skip(f"no mount namespace with a root of its own: {made.end().strip()}")
        yield made
    finally:
        made.close()


@pytest.fixture(name="appliance")
def restored(namespace):
    namespace.restore()
    yield namespace
