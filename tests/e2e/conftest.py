"""Each test has a desk of its own, and leaves nothing of it."""

import pytest

from desk import BIN, Desk


def pytest_sessionstart():
    needed = ("ztcli", "morvd", "morvdctl", "ztd_ng", "checkImage", "flashImage")
    missing = [name for name in needed if not (BIN / name).exists()]
    if missing:
        pytest.exit(f"not built: {', '.join(missing)} in {BIN}", 3)


@pytest.fixture
def desk():
    made = Desk()
    yield made
    made.close()
