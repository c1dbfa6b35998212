"""The full build of the release preset from nothing, without the compiler cache."""

import os
import resource
import subprocess

import measuring
import places
from rows import Row

CORES = 2


def measure() -> list[Row]:
    environment = os.environ | {"CCACHE_DISABLE": "1"}
    target = str(places.DIRECTORY / "build")

    def run(*command: str) -> None:
        subprocess.run(command, cwd=places.SOURCES, env=environment, check=True,
                       stdout=subprocess.DEVNULL)

    def build() -> None:
        run("cmake", "--preset", "release", "-B", target)
        run("cmake", "--build", target, "-j", str(CORES))

    seconds = measuring.seconds_of(build)
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    processor = used.ru_utime + used.ru_stime
    return [
        Row(f"Full build on {CORES} cores", f"{seconds:.0f} s", f"{processor:.0f} s of processor",
            seconds, 40, "s", at_most=True)
    ]
