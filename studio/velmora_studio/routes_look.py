"""Routes for looking: catalogue and icons, details, last lines, what is used, plugins."""

import asyncio
import hashlib
from typing import Any

from fastapi import APIRouter, HTTPException, Query
from fastapi.responses import Response
from pydantic import BaseModel, StrictStr

from velmora_studio.details import describe_utility
from velmora_studio.last_words import LONGEST_TEXT, end_of_lines
from velmora_studio.operations import Operations
from velmora_studio.permissions import Permissions
from velmora_studio.plugin_report import describe_plugins
from velmora_studio.processes import Usage
from velmora_studio.studio_state import may_see

ICON_HEADERS = {
    "cache-control": "private, max-age=31536000, immutable",  # another icon has another address
    # An icon comes from a plugin and can hold scripts. As an image it runs none; as a page of the
    # Studio's origin it would.
    "content-security-policy": "default-src 'none'; style-src 'unsafe-inline'; sandbox",
}


class DismissRequest(BaseModel):
    id: StrictStr


class LookRoutes:
    def __init__(self, operations: Operations) -> None:
        self._operations = operations
        self._permissions = Permissions(operations)
        self._usage = Usage()

    def add_to(self, router: APIRouter) -> None:
        router.get("/catalogue")(self.catalogue)
        router.get("/icons/{digest}")(self.icon)
        router.get("/plugins")(self.plugins)
        for path in ("details", "stderr", "lines", "usage"):
            router.get(f"/utility/{path}")(getattr(self, path))
        router.post("/failures/dismiss")(self.dismiss)

    async def catalogue(self, group_name: str = "") -> Response:
        """What may be started at each place, for a page to keep until the version changes."""
        text = await asyncio.to_thread(self._operations.catalogue.text, group_name)
        return Response(text, media_type="application/json")

    async def icon(self, digest: str) -> Response:
        found = await asyncio.to_thread(self._operations.catalogue.icons.content, digest)
        if found is None:
            raise HTTPException(404, "There is no such icon.")
        media_type, content = found
        return Response(content, media_type=media_type, headers=ICON_HEADERS)

    async def plugins(self) -> Any:
        return await asyncio.to_thread(describe_plugins, self._operations)

    async def details(self, utility_name: str, group_name: str = "") -> Any:
        await self._permissions.check(utility_name, group_name or None)
        instance = self._operations.running.table.find_now(utility_name, group_name or None)
        return await asyncio.to_thread(describe_utility, self._operations, utility_name, instance)

    async def stderr(self, server_id: str, max_chars: int = Query(800, ge=1)) -> Any:
        end = self._operations.running.last_words.end_of(server_id)
        if end:
            await self._permissions.check(end.instance.utility_name, end.instance.group_name)
            return {"running": False, "text": end.text[-max_chars:]}
        if await self._permissions.instance(server_id) is None:
            return {"running": False, "text": ""}
        return await asyncio.to_thread(self._output_now, server_id, max_chars)

    def _output_now(self, server_id: str, max_chars: int) -> dict[str, Any]:
        """From what the manager publishes, which it does during a stop, too."""
        info = self._operations.manager.servers.get(server_id)
        if info is None:
            return {"running": False, "text": ""}
        process = info["process"]
        running = process is None or process.poll() is None
        return {"running": running, "text": end_of_lines(info.get("stderr_buffer", ()), max_chars)}

    async def lines(self, utility_name: str, group_name: str = "", known: str = "") -> Any:
        """What the utility last wrote: its instance, else the last one that ended by itself. The
        text is left out if it is the one whose `version` is `known`."""
        group = group_name or None
        await self._permissions.check(utility_name, group)
        instance = self._operations.running.table.find_now(utility_name, group)
        end = self._operations.running.last_words.last_end(utility_name, group)
        server_id = instance.server_id if instance else end and end.instance.server_id
        text = (await self.stderr(server_id, LONGEST_TEXT))["text"] if server_id else ""
        version = hashlib.sha256(f"{server_id} {text}".encode(errors="replace")).hexdigest()[:16]
        about = {
            "running": instance is not None,
            "adopted": instance is not None and self._operations.running.is_adopted(instance),
            "exit": end.exit if end and not instance else None,
            "version": version,
        }
        return about if version == known else about | {"text": text}

    async def usage(self) -> Any:
        """Processor time in percent of one core since the last look, and memory in bytes."""
        operations = self._operations
        instances = operations.running.table.all()

        def measure() -> dict[str, Any]:
            own = [each for each in instances if may_see(operations.access, vars(each))]
            return self._usage.of({each.server_id: each.pid for each in own})

        return await asyncio.to_thread(measure)

    async def dismiss(self, request: DismissRequest) -> Any:
        failure = self._operations.running.failures.get(request.id)
        if failure:
            await self._permissions.check(failure["utility_name"], failure["group_name"] or None)
            self._operations.running.failures.dismiss(request.id)
            self._operations.running.on_change()
        return {}
