"""What is installed, from the build that UTILITY_MANAGER_BUILD lies in."""

import os
import subprocess
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
VERSION = (ROOT / "version.txt").read_text().strip()
BUILD = Path(os.environ["UTILITY_MANAGER_BUILD"]).resolve().parent


def run(*command: str | Path, **options) -> str:
    """What the command writes to standard output. A failure shows all that it wrote."""
    done = subprocess.run(command, capture_output=True, text=True, timeout=600, **options)
    assert done.returncode == 0, f"{command}\n{done.stdout}\n{done.stderr}"
    return done.stdout


@pytest.fixture(scope="session")
def prefix(tmp_path_factory) -> Path:
    """A place that nothing but `cmake --install` has written to."""
    place = tmp_path_factory.mktemp("prefix")
    run("cmake", "--install", BUILD, "--prefix", place)
    return place
