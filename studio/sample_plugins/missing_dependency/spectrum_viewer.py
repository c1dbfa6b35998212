"""Needs a module that isn't there, so the process ends with a ModuleNotFoundError."""

import velmora_spectrum_reader

from velmora_utility import Request, Utility

utility = Utility("光谱查看器", "Spectrum viewer")


@utility.get("")
def index(request: Request) -> str:
    return velmora_spectrum_reader.as_html()


utility.run()
