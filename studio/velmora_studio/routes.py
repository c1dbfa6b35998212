"""The Studio's own routes: its page and the JSON interface that the page uses."""

import asyncio
from pathlib import Path
from typing import Any

from fastapi import APIRouter, FastAPI, HTTPException, Request
from fastapi.exceptions import RequestValidationError
from fastapi.responses import FileResponse, Response
from fastapi.staticfiles import StaticFiles
from pydantic import BaseModel, StrictStr
from starlette.exceptions import HTTPException as StarletteException
from velmora_client.com.user import set_current_user
from velmora_client.plugin.plugin_register import plugin_register
from velmora_client.utils.local import set_default_language

from velmora_studio.answers import JsonAnswer
from velmora_studio.live import Live, LiveAnswer
from velmora_studio.failures import START_FAILED
from velmora_studio.operations import Operations
from velmora_studio.permissions import Permissions
from velmora_studio.routes_look import LookRoutes
from velmora_studio.studio_state import (
    describe_studio,
    show_place,
    show_running,
    show_running_grouped,
)

PAGE = Path(__file__).resolve().parent / "page"
# What the manager says when it refuses a start, and the status that fits.
REFUSALS = {
    "Permission denied": 403,
    "is already running": 409,
    "is not registered": 404,
    "requires group_name": 422,
    "No available ports": 503,
}


class StartRequest(BaseModel):
    utility_name: StrictStr
    group_name: StrictStr = ""
    config: Any = {}  # a mapping; declared as one, a list of pairs would pass


class StopRequest(BaseModel):
    server_id: StrictStr


class UserRequest(BaseModel):
    user: StrictStr


class LanguageRequest(BaseModel):
    language: StrictStr


class Routes:
    """The handlers. Whatever asks the manager runs on a worker thread."""

    def __init__(self, operations: Operations, live: Live) -> None:
        self._operations = operations
        self._manager = operations.manager
        self._permissions = Permissions(operations)
        self._live = live

    async def studio(self) -> Any:
        return await asyncio.to_thread(describe_studio, self._operations)

    async def choose_user(self, request: UserRequest) -> Any:
        try:
            await asyncio.to_thread(set_current_user, request.user)
        except LookupError as error:
            raise HTTPException(404, str(error)) from error
        self._operations.rights_changed()
        return await self.studio()

    async def choose_language(self, request: LanguageRequest) -> Any:
        try:
            await asyncio.to_thread(set_default_language, request.language)
        except ValueError as error:
            raise HTTPException(422, str(error)) from error
        self._operations.running.on_change()
        return await self.studio()

    async def utilities(self) -> Any:
        return await self._place("default")

    async def group_utilities(self, group_name: str) -> Any:
        return await self._place("group", group_name)

    async def navbar_utilities(self) -> Any:
        return await self._place("navbar")

    async def create_exp_utilities(self, group_name: str = "") -> Any:
        return await self._place("create_exp", group_name)

    async def running(self) -> Any:
        instances = await self._operations.running.fresh_instances()
        return await asyncio.to_thread(show_running, self._operations, instances)

    async def running_grouped(self) -> Any:
        return await self._operations.running.look(show_running_grouped, self._operations)

    async def start(self, request: StartRequest) -> Any:
        name, group = request.utility_name, request.group_name
        if not isinstance(request.config, dict):
            raise HTTPException(422, "body.config: is no mapping")
        await self._permissions.check(name, group)
        try:
            return await self._operations.start(name, group, request.config)
        except (TypeError, ValueError, OverflowError) as error:
            raise HTTPException(422, str(error)) from error
        except RuntimeError as error:
            return _failed_start(str(error))

    async def restart(self, request: StopRequest) -> Any:
        instance = await self._permissions.instance(request.server_id)
        if instance is None:
            raise HTTPException(404, "It does not run any more.")
        try:
            started = await self._operations.restart(instance)
        except RuntimeError as error:
            return _failed_start(str(error))
        if started is None:
            raise HTTPException(502, "It could not be stopped.")
        return started

    async def stop(self, request: StopRequest) -> Any:
        if await self._permissions.instance(request.server_id) is None:
            return {"stopped": False}
        return {"stopped": await self._operations.stop(request.server_id)}

    async def stop_all(self) -> Any:
        """Ends everything, if the user may use it all; else what he may use."""
        instances = await self._operations.running.fresh_instances()
        own = await asyncio.to_thread(show_running, self._operations, instances)
        if len(own) == len(instances):
            await self._operations.stop_all()
        else:
            await asyncio.gather(*(self._operations.stop(each["server_id"]) for each in own))
        return {}

    async def refresh(self) -> Any:
        await self._operations.refresh(plugin_register.reload)
        return {}

    async def events(self, group_name: str = "") -> Response:
        """The group makes no difference: what it shows is asked for as the catalogue."""
        return LiveAnswer(self._live)

    async def _place(self, place: str, group_name: str = "") -> Any:
        await self._operations.running.fresh_instances()
        entries = await asyncio.to_thread(show_place, self._operations, place, group_name)
        return JsonAnswer(entries)


def make_api(operations: Operations) -> FastAPI:
    handlers = Routes(operations, Live(operations))
    router = APIRouter(prefix="/api", default_response_class=JsonAnswer)
    for path in ("utilities", "group_utilities", "navbar_utilities", "create_exp_utilities"):
        router.get(f"/utility/{path}")(getattr(handlers, path))
    for path in ("running", "running_grouped"):
        router.get(f"/utility/{path}")(getattr(handlers, path))
    for path in ("start", "stop", "restart", "stop_all", "refresh"):
        router.post(f"/utility/{path}")(getattr(handlers, path))
    router.get("/studio")(handlers.studio)
    router.post("/studio/user")(handlers.choose_user)
    router.post("/studio/language")(handlers.choose_language)
    router.get("/events")(handlers.events)
    LookRoutes(operations).add_to(router)

    api = FastAPI(openapi_url=None)
    api.include_router(router)
    for path in ("/", "/view/{view:path}"):  # each view of the page has an address
        api.api_route(path, methods=["GET", "HEAD"])(_index)
    api.get("/favicon.ico")(_mark)
    api.mount("/page", StaticFiles(directory=PAGE, check_dir=False))
    api.add_exception_handler(StarletteException, _refuse)
    api.add_exception_handler(RequestValidationError, _refuse_input)
    api.add_exception_handler(UnicodeError, _refuse_text)
    for failure in (OSError, ValueError, LookupError):  # of the client's own files
        api.add_exception_handler(failure, _tell_failure)
    return api


async def _index() -> Response:
    return FileResponse(PAGE / "index.html")


async def _mark() -> Response:
    """For the tab of a utility whose page names no icon of its own."""
    return FileResponse(PAGE / "mark.svg")


def _failed_start(message: str) -> Response:
    for words, status in REFUSALS.items():
        if words in message and not message.startswith(START_FAILED):
            return JsonAnswer({"detail": message}, status)
    return JsonAnswer({"detail": message, "digest": message.removeprefix(START_FAILED)}, 502)


async def _refuse(request: Request, error: StarletteException) -> Response:
    return JsonAnswer({"detail": str(error.detail)}, error.status_code, error.headers)


async def _refuse_input(request: Request, error: RequestValidationError) -> Response:
    faults = [f"{'.'.join(map(str, fault['loc']))}: {fault['msg']}" for fault in error.errors()]
    return JsonAnswer({"detail": "; ".join(faults)}, 422)


async def _refuse_text(request: Request, error: UnicodeError) -> Response:
    return JsonAnswer({"detail": f"a text is no valid Unicode: {error}"}, 422)


async def _tell_failure(request: Request, error: Exception) -> Response:
    return JsonAnswer({"detail": f"{type(error).__name__}: {error}"}, 503)
