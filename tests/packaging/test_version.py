"""One file says the version; whatever tells it agrees."""

import re

from conftest import BUILD, ROOT, VERSION, run


def test_changelog_begins_with_it():
    headings = re.findall(r"(?m)^## (\S+)", (ROOT / "CHANGELOG.md").read_text())
    assert [name for name in headings if name != "Unreleased"][0] == VERSION


def test_module_tells_it(tmp_path):
    script = "import fake_client, utility_manager; print(utility_manager.__version__)"
    places = {"PYTHONPATH": f"{BUILD / 'python'}:{ROOT / 'tests/python'}"}
    environment = places | {"FAKE_CLIENT_DATA": str(tmp_path)}
    assert run("/usr/bin/python3", "-c", script, env=environment) == f"{VERSION}\n"


def test_installed_library_tells_it(prefix):
    (description,) = prefix.rglob("utility_manager.pc")
    assert f"\nVersion: {VERSION}\n" in description.read_text()


def test_programs_tell_it():
    assert run(BUILD / "utility-manager", "--version") == f"utility-manager {VERSION}\n"
    studio = ("/usr/bin/python3", "-m", "velmora_studio", "--version")
    assert run(*studio, cwd=ROOT / "studio") == f"velmora-studio {VERSION}\n"
