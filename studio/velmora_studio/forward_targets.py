"""Which instance a request is for: the look-up that HTTP and WebSocket forwarding share."""

from velmora_client.utils.local import get_default_language

from velmora_studio.forward_address import Address
from velmora_studio.instances import Instance
from velmora_studio.notice_page import Cause, Notice, NotForwarded
from velmora_studio.operations import Operations


class Targets:
    """Instances come from what runs and from nowhere else; an address only names them."""

    def __init__(self, operations: Operations) -> None:
        self._operations = operations

    def find_now(self, address: Address) -> Instance | None:
        """None where `find` would have to wait, or would fail."""
        name, group = address.utility_name, address.group_name
        if self._operations.access.may_surely_use(name, group):
            return self._operations.running.table.find_now(name, group)
        return None

    async def find(self, address: Address) -> Instance:
        """Fails with `NotForwarded`."""
        name, group = address.utility_name, address.group_name
        if not await self._operations.may_use(name, group):
            known = self._operations.registration(name)
            raise NotForwarded(Cause.refused if known else Cause.unknown)
        instance = await self._operations.running.table.find(name, group)
        if instance is None:
            raise self._why_nothing_runs(address)
        return instance

    def keeps_prefix(self, instance: Instance) -> bool:
        """Whether its utility is asked for the whole path, with the Studio's part of it."""
        registration = self._operations.registration(instance.utility_name)
        return bool(registration.get("forward_whole_path"))

    async def why_silent(self, address: Address, instance: Instance, cause: Cause) -> NotForwarded:
        """After a connection that failed: `cause`, if the instance runs all the same."""
        try:
            await self._operations.running.table.renew()
        except TimeoutError:  # a long stop is going on
            return NotForwarded(cause)
        if self._operations.running.table.get(instance.server_id):
            return NotForwarded(cause)
        return self._why_nothing_runs(address)

    def notice(self, address: Address, reason: NotForwarded) -> Notice:
        language = get_default_language()
        info = self._operations.registration(address.utility_name)
        title = info.get("title" if language == "zh" else "en_title") or info.get("title")
        # A utility that the user may not use tells him no more than its name.
        name = address.utility_name
        shown = name if reason.cause.is_final else title or name
        return Notice(address, reason, shown, language, self._operations.own_origin)

    def _why_nothing_runs(self, address: Address) -> NotForwarded:
        end = self._operations.running.last_words.last_end(address.utility_name, address.group_name)
        return NotForwarded(Cause.ended, end.text) if end else NotForwarded(Cause.stopped)
