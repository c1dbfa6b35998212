"""Builds what CMake builds; pyproject.toml describes the rest."""

import os
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext
from setuptools.command.install_scripts import install_scripts

PROGRAM = "utility-manager"
STUBS = "utility_manager-stubs"
STUDIO = Path("studio")
NEEDED = "g++ cmake pkg-config python3-dev libutf8proc-dev"


class CMakeBuild(build_ext):
    """Makes the module, and beside it the operator's program."""

    def build_extension(self, extension: Extension) -> None:
        build = Path(self.build_temp)
        generator = ["-G", "Ninja"] if shutil.which("ninja") else []
        options = {
            "CMAKE_BUILD_TYPE": "Release",
            "WITH_PYTHON": "ON",
            "STATIC_LIBRARIES": "ON",
            "Python_EXECUTABLE": sys.executable,
        }
        defined = [f"-D{name}={value}" for name, value in options.items()]
        cmake("-S", ".", "-B", build, *generator, *defined)
        # Make takes no number for as many as there are sources.
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count() or 1))
        cmake("--build", build, "--parallel", jobs, "--target", "module-native", PROGRAM)
        (module,) = (build / "python").glob("utility_manager.*.so")
        place = Path(self.get_ext_fullpath(extension.name))
        place.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(module, place)


class InstallScripts(install_scripts):
    """Puts the program where scripts go."""

    def run(self) -> None:
        super().run()
        program = Path(self.get_finalized_command("build_ext").build_temp) / PROGRAM
        self.mkpath(self.install_dir)
        self.copy_file(str(program), self.install_dir)
        self.outfiles.append(str(Path(self.install_dir) / PROGRAM))


def cmake(*arguments: str | Path) -> None:
    try:
        subprocess.run(["cmake", *arguments], check=True)
    except (OSError, subprocess.CalledProcessError) as failure:
        needed = "The build needs a C++ compiler, CMake, pkg-config and the C library utf8proc"
        sys.exit(f"{failure}\n{needed}. On Debian: apt install {NEEDED}")


def studio_files() -> list[tuple[str, list[str]]]:
    """The Studio is data and no package: a client's own `velmora_client` must not be shadowed."""
    folders: dict[Path, list[str]] = {Path(): ["version.txt"]}
    for path in sorted(STUDIO.rglob("*")):
        inside = path.relative_to(STUDIO)
        hidden = any(part.startswith((".", "__pycache__")) for part in inside.parts)
        if path.is_file() and not hidden:
            folders.setdefault(inside.parent, []).append(str(path))
    return [(f"share/velmora-studio/{folder}", files) for folder, files in folders.items()]


setup(
    license="MIT",  # here, as no form of it in pyproject.toml suits every setuptools from 66 on
    packages=[STUBS],
    package_dir={STUBS: f"python/{STUBS}"},
    package_data={STUBS: ["*.pyi"]},
    ext_modules=[Extension("utility_manager", [])],
    cmdclass={"build_ext": CMakeBuild, "install_scripts": InstallScripts},
    scripts=["packaging/velmora-studio"],
    data_files=studio_files(),
    zip_safe=False,
)
