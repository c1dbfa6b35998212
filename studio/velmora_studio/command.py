"""The command line of the Studio."""

import argparse
import sys

from velmora_client.data_directory import STUDIO_DIRECTORY

NEEDED = {"fastapi", "h11", "starlette", "uvicorn"}


def main() -> int:
    """Gives the exit status."""
    options = parse_options()
    if options.console:
        import console

        return console.main()
    try:
        from velmora_studio import program
    except ModuleNotFoundError as error:
        if error.name not in NEEDED:
            raise
        print(
            f"velmora_studio: {error}. The web application needs FastAPI, uvicorn and h11: "
            "with pip the extra [studio], on Debian 'apt install python3-fastapi "
            "python3-uvicorn python3-h11'.",
            file=sys.stderr,
        )
        return 1
    return program.run(options.no_token)


def parse_options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="velmora-studio", description="Serves the Studio.")
    text = "let in whoever can reach this computer's loopback address"
    parser.add_argument("--no-token", action="store_true", help=text)
    text = "take a round through the manager in the terminal instead"
    parser.add_argument("--console", action="store_true", help=text)
    parser.add_argument("--version", action="version", version=f"%(prog)s {version()}")
    return parser.parse_args()


def version() -> str:
    """The system's; its file lies beside an installed Studio, above that of a source tree."""
    for folder in (STUDIO_DIRECTORY, STUDIO_DIRECTORY.parent):
        if (folder / "version.txt").is_file():
            return (folder / "version.txt").read_text(encoding="utf-8").strip()
    return "unknown"
