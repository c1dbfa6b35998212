"""The core in another program: the example of the page, built from an installed prefix alone."""

import os
import re
import shutil
import subprocess
from pathlib import Path

import pytest
from conftest import ROOT, run

WARNINGS = "-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Werror".split()
COMPILERS = [name for name in ("g++", "clang++") if shutil.which(name)]
PAGE = (ROOT / "docs/embedding.md").read_text()


def block(language: str) -> str:
    return re.search(rf"```{language}\n(.*?)```", PAGE, re.DOTALL)[1]


@pytest.fixture
def example(tmp_path) -> Path:
    """A folder with the files of the page."""
    (tmp_path / "CMakeLists.txt").write_text(block("cmake"))
    (tmp_path / "clock_host.cpp").write_text(block("cpp"))
    (tmp_path / "clock.py").write_text(block("python"))
    return tmp_path


@pytest.fixture
def flags(prefix) -> list[str]:
    places = ":".join(str(place) for place in prefix.rglob("pkgconfig"))
    environment = os.environ | {"PKG_CONFIG_PATH": places}
    run("pkg-config", "--validate", "utility_manager", env=environment)
    asked = ("--cflags", "--libs", "--static", "utility_manager")
    return run("pkg-config", *asked, env=environment).split()


def runs(program: Path, example: Path) -> None:
    words = ("/usr/bin/python3", example / "clock.py", example / "state")
    said = run(program, *words, stdin=subprocess.DEVNULL).splitlines()
    assert re.fullmatch(r"clock runs at http://localhost:\d+", said[0])
    assert said[1:] == ["stopped"]  # what the utility writes has gone elsewhere
    assert list((example / "state/utility_states").iterdir()) == []


def test_cmake_finds_all_that_it_takes(prefix, example):
    build = example / "build"
    run("cmake", "-S", example, "-B", build, f"-DCMAKE_PREFIX_PATH={prefix}")
    run("cmake", "--build", build)
    runs(build / "clock_host", example)


@pytest.mark.parametrize("compiler", COMPILERS)
def test_pkg_config_finds_all_that_it_takes(compiler, flags, example):
    program = example / "clock_host"
    standard = ["-std=c++20", *WARNINGS]
    run(compiler, *standard, example / "clock_host.cpp", *flags, "-o", program)
    runs(program, example)


@pytest.mark.parametrize("compiler", COMPILERS)
def test_headers_are_silent_in_any_order(compiler, prefix, tmp_path):
    include = prefix / "include"
    assert [entry.name for entry in include.iterdir()] == ["utility_manager"]
    headers = sorted(include.rglob("*.h"))
    assert headers
    source = tmp_path / "all.cpp"
    for backwards in (False, True):  # none rests on what another has included
        names = [f"#include <{path.relative_to(include)}>\n" for path in headers]
        source.write_text("".join(names[::-1] if backwards else names))
        run(compiler, "-std=c++20", *WARNINGS, "-fsyntax-only", source, f"-I{include}")
    for path in headers:
        foreign = re.findall(r"#\s*define\s+(?!UM_)\w+", path.read_text())
        assert not foreign, path
