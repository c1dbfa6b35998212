"""The wheel, in environments that hold nothing else."""

import os
import re
import shutil
import signal
import subprocess
import urllib.request
import zipfile
from pathlib import Path

import pytest
from conftest import ROOT, run

PIP = ("/usr/bin/python3", "-m", "pip", "--disable-pip-version-check", "--no-cache-dir")
WHEEL = ("wheel", "--no-build-isolation", "--no-deps", "--no-index")


@pytest.fixture(scope="session")
def sources(tmp_path_factory) -> Path:
    """What a checkout holds."""
    place = tmp_path_factory.mktemp("sources")
    listed = ("git", "ls-files", "-z", "--cached", "--others", "--exclude-standard")
    for name in run(*listed, cwd=ROOT).split("\0")[:-1]:
        if (ROOT / name).is_file():
            (place / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(ROOT / name, place / name)
    return place


@pytest.fixture(scope="session")
def wheel(sources, tmp_path_factory) -> Path:
    place = tmp_path_factory.mktemp("wheel")
    run(*PIP, *WHEEL, "-w", place, sources)
    (made,) = place.iterdir()
    return made


def environment(place: Path, *options: str) -> Path:
    """The folder of the programs of a new virtual environment."""
    run("/usr/bin/python3", "-m", "venv", *options, place)
    return place / "bin"


def studio_process(programs: Path, data: Path, *options: str, **more) -> subprocess.Popen:
    """The installed Studio, with nothing of this tree in its surroundings."""
    surroundings = {"PATH": "/usr/bin:/bin", "HOME": str(data), "XDG_DATA_HOME": str(data)}
    command = [programs / "velmora-studio", *options]
    return subprocess.Popen(command, env=surroundings, text=True, stdout=subprocess.PIPE, **more)


def test_its_contents_are_in_order(wheel):
    names = zipfile.ZipFile(wheel).namelist()
    assert len(names) == len(set(names))
    tops = {name.split("/")[0] for name in names}
    stem = "utility_manager-" + (ROOT / "version.txt").read_text().strip()
    module = next(name for name in tops if name.startswith("utility_manager.cpython"))
    assert tops == {module, "utility_manager-stubs", f"{stem}.dist-info", f"{stem}.data"}
    assert not [name for name in names if re.search(r"__pycache__|\.pyc$|/\.", name)]


def test_round_in_an_empty_environment(wheel, tmp_path):
    programs = environment(tmp_path / "empty")
    run(programs / "pip", "install", "--no-index", "--no-deps", wheel)
    (module,) = (tmp_path / "empty").rglob("utility_manager.cpython*.so")
    assert "utf8proc" not in run("readelf", "--dynamic", module)
    assert (module.parent / "utility_manager-stubs/__init__.pyi").is_file()
    told = studio_process(programs, tmp_path, "--console").communicate()[0]
    assert re.search(r"Still running: logbook \(\d+\)", told)
    config = tmp_path / "velmora-studio/config"
    assert "\trunning\t" in run(programs / "utility-manager", "--config", config, "list")
    told = studio_process(programs, tmp_path, "--console").communicate()[0]
    assert "Stopped logbook" in told and "Still running: nothing" in told
    bare = studio_process(programs, tmp_path, stderr=subprocess.PIPE)
    assert "the extra [studio]" in bare.communicate()[1] and bare.returncode == 1
    absent = "import importlib.util as u; print(u.find_spec('velmora_client'))"
    assert run(programs / "python3", "-I", "-c", absent) == "None\n"


def test_studio_beside_what_the_system_holds(wheel, tmp_path):
    programs = environment(tmp_path / "system", "--system-site-packages")
    run(programs / "pip", "install", "--no-index", "--no-deps", wheel)
    studio = studio_process(programs, tmp_path, "--no-token")
    try:
        address = re.search(r"The Studio: (\S+)", studio.stdout.readline())[1]
        assert b"<title>" in urllib.request.urlopen(address, timeout=30).read()
        studio.send_signal(signal.SIGINT)
        assert "Stopped: nothing" in studio.communicate(timeout=30)[0]
    finally:
        studio.kill()


def test_missing_library_is_named_with_its_package(sources, tmp_path):
    shutil.copytree(sources, tmp_path / "fresh", ignore=shutil.ignore_patterns("build"))
    lacking = os.environ | {"PKG_CONFIG_LIBDIR": str(tmp_path)}
    command = [*PIP, *WHEEL, "-w", tmp_path, tmp_path / "fresh"]
    done = subprocess.run(command, env=lacking, capture_output=True, text=True, timeout=300)
    assert done.returncode != 0
    assert re.search(r"apt install .*libutf8proc-dev", done.stdout + done.stderr)
