"""The wheel, in environments that hold nothing else."""

import base64
import csv
import email
import hashlib
import os
import re
import shutil
import signal
import subprocess
import urllib.request
import zipfile
from pathlib import Path

import pytest
from conftest import ROOT, VERSION, run

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


def test_its_contents_are_in_order(wheel, sources):
    with zipfile.ZipFile(wheel) as archive:
        files = {info.filename: archive.read(info) for info in archive.infolist()}
        runs = {info.filename for info in archive.infolist() if info.external_attr >> 16 & 0o111}
        assert len(files) == len(archive.namelist())
    stem = f"utility_manager-{VERSION}"
    data, about = f"{stem}.data", f"{stem}.dist-info"
    (module,) = (name for name in files if re.match(r"utility_manager\.cpython-[\w-]+\.so$", name))
    programs = {f"{data}/scripts/{name}" for name in ("utility-manager", "velmora-studio")}
    studio = {path.relative_to(sources / "studio") for path in (sources / "studio").rglob("*.*")}
    shared = {path for path in studio if not path.name.startswith(".")} | {Path("version.txt")}
    stubs = {module, "utility_manager-stubs/__init__.pyi"}
    shown = stubs | programs | {f"{data}/data/share/velmora-studio/{path}" for path in shared}
    assert {name for name in files if not name.startswith(about)} == shown
    assert programs < runs

    listed = list(csv.reader(files[f"{about}/RECORD"].decode().splitlines()))
    assert sorted(name for name, *_ in listed) == sorted(files)
    for name, digest, size in listed:
        found = base64.urlsafe_b64encode(hashlib.sha256(files[name]).digest()).decode()
        assert name.endswith("/RECORD") or digest == f"sha256={found.rstrip('=')}", name
        assert name.endswith("/RECORD") or int(size) == len(files[name]), name

    told = email.message_from_bytes(files[f"{about}/METADATA"])
    assert (told["Name"], told["Version"], told["License"]) == ("utility-manager", VERSION, "MIT")
    assert told["Requires-Python"] == ">=3.11" and told.get_all("Provides-Extra") == ["studio"]
    assert all("extra ==" in need for need in told.get_all("Requires-Dist"))
    assert (ROOT / "README.md").read_text().strip() in files[f"{about}/METADATA"].decode()
    tag = email.message_from_bytes(files[f"{about}/WHEEL"])["Tag"]
    assert re.fullmatch(r"cp3(\d+)-cp3\1-linux_\w+", tag) and f"-{tag}.whl" in wheel.name
    licence = (ROOT / "LICENSE").read_bytes()
    assert licence in [text for name, text in files.items() if name.startswith(about)]


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
