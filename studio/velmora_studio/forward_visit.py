"""A request and the utility that it is for."""

from dataclasses import dataclass

from velmora_studio.forward_address import Address
from velmora_studio.http_request import Request


@dataclass(slots=True, frozen=True, eq=False)
class Visit:
    """The same object for requests that are the same: what follows from it can be remembered."""

    request: Request
    address: Address
