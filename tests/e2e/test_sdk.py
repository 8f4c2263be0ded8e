"""The program built against an SDK folder: the same sources, the libraries from elsewhere."""

import subprocess
from pathlib import Path

import pytest

from desk import BANNER, BIN, REPOSITORY, Outcome

BUILD = REPOSITORY / "build"
BUILD_SCRIPT = REPOSITORY / "script/build"
pytestmark = pytest.mark.skipif(BIN != BUILD / "bin", reason="once is enough")


@pytest.fixture(name="sdk")
def pseudo_sdk(tmp_path):
    """The headers of the closed libraries, an archive that has them all, and what that one stands on."""
    (tmp_path / "lib").mkdir()
    (tmp_path / "include").symlink_to(REPOSITORY / "platform/include")
    found = subprocess.run(["c++", "-print-file-name=libhiredis.a"], capture_output=True, text=True, check=True).stdout
    archives = {"libappliance.a": next((BUILD / "platform").glob("libzt_platform.a")), "libhiredis.a": found.strip()}
    for name, archive in archives.items():
        (tmp_path / "lib" / name).write_bytes(Path(archive).read_bytes())
    return tmp_path


def test_program_builds_against_an_sdk_and_starts(desk, sdk):
    """Its root is the machine's own then, so that no desk can be put under it."""
    done = subprocess.run([BUILD_SCRIPT, "--sdk", sdk], capture_output=True, text=True, timeout=500, check=False)
    assert done.returncode == 0, done.stderr[-4000:]
    built = BUILD / "sdk/bin"
    assert [path.name for path in built.iterdir()] == ["ztcli"]
    assert desk.run("-V", binary=built / "ztcli") == Outcome(BANNER, b"", 1)


def test_sdk_without_a_library_is_refused(tmp_path):
    (tmp_path / "lib").mkdir()
    done = subprocess.run([BUILD_SCRIPT, "--sdk", tmp_path], capture_output=True, text=True, timeout=60, check=False)
    assert done.returncode == 1
    assert f"no library in '{tmp_path}/lib'" in " ".join(done.stderr.split())  # long lines are broken


def test_folder_that_is_no_sdk_is_named(tmp_path):
    done = subprocess.run([BUILD_SCRIPT, "--sdk", tmp_path / "none"], capture_output=True, text=True, timeout=60,
                          check=False)
    assert done.returncode == 1
    assert done.stderr == f"script/build: no SDK folder '{tmp_path / 'none'}'\n"


def test_cross_compiler_is_given_by_its_toolchain_file(sdk):
    """This machine's own compiler under another system's name: what counts is that the options reach it."""
    (sdk / "FILE").write_text("set(CMAKE_SYSTEM_NAME Linux)\nset(CMAKE_C_COMPILER gcc)\nset(CMAKE_CXX_COMPILER g++)\n")
    configure = ["cmake", "-S", REPOSITORY, "-B", sdk / "build", "-G", "Ninja", f"-DZT_SDK={sdk}",
                 f"-DCMAKE_TOOLCHAIN_FILE={sdk / 'FILE'}"]
    for command in configure, ["ninja", "-C", sdk / "build", "-t", "commands", "ztcli"]:
        done = subprocess.run(command, capture_output=True, text=True, timeout=120, check=False)
        assert done.returncode == 0, done.stderr
    assert " -o bin/ztcli " in done.stdout
