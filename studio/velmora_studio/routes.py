"""The Studio's own routes: its page and the JSON interface that the page uses."""

from pathlib import Path
from typing import Any

from fastapi import APIRouter, FastAPI, HTTPException, Query, Request
from fastapi.exceptions import RequestValidationError
from fastapi.responses import FileResponse, Response
from fastapi.staticfiles import StaticFiles
from pydantic import BaseModel, StrictStr, validator
from starlette.exceptions import HTTPException as StarletteException
from velmora_client.com.user import set_current_user
from velmora_client.plugin.plugin_register import plugin_register
from velmora_client.utils.local import set_default_language

from velmora_studio.answers import JsonAnswer
from velmora_studio.instances import Instance
from velmora_studio.live import Live, LiveAnswer
from velmora_studio.operations import START_FAILED, Operations
from velmora_studio.studio_state import describe_studio, show_running, show_running_grouped

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
    config: dict[str, Any] = {}

    @validator("config", pre=True)
    def _is_mapping(cls, config: Any) -> Any:
        if not isinstance(config, dict):  # a list of pairs would pass otherwise
            raise ValueError("is no mapping")
        return config


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
        self._live = live

    async def studio(self) -> Any:
        return await self._operations.look(describe_studio)

    async def choose_user(self, request: UserRequest) -> Any:
        try:
            await self._operations.look(set_current_user, request.user)
        except LookupError as error:
            raise HTTPException(404, str(error)) from error
        return await self._changed_studio()

    async def choose_language(self, request: LanguageRequest) -> Any:
        try:
            await self._operations.look(set_default_language, request.language)
        except ValueError as error:
            raise HTTPException(422, str(error)) from error
        return await self._changed_studio()

    async def utilities(self) -> Any:
        return await self._operations.look(self._manager.get_utilities_without_group_name)

    async def group_utilities(self, group_name: str) -> Any:
        view = self._manager.get_utilities_with_group_name
        return await self._operations.look(view, group_name)

    async def navbar_utilities(self) -> Any:
        return await self._operations.look(self._manager.get_navbar_utilities)

    async def create_exp_utilities(self, group_name: str = "") -> Any:
        return await self._operations.look(self._manager.get_create_exp_utilities, group_name)

    async def running(self) -> Any:
        entries = await self._operations.listing()
        return await self._operations.look(show_running, self._operations, entries)

    async def running_grouped(self) -> Any:
        return await self._operations.look(show_running_grouped, self._operations)

    async def start(self, request: StartRequest) -> Any:
        name, group = request.utility_name, request.group_name
        await self._check(name, group)
        try:
            return await self._operations.start(name, group, request.config)
        except (TypeError, ValueError, OverflowError) as error:
            raise HTTPException(422, str(error)) from error
        except RuntimeError as error:
            return _failed_start(str(error))

    async def stop(self, request: StopRequest) -> Any:
        if await self._permitted_instance(request.server_id) is None:
            return {"stopped": False}
        return {"stopped": await self._operations.stop(request.server_id)}

    async def stop_all(self) -> Any:
        """Ends everything, if the user may use it all; else what he may use."""
        entries = await self._operations.listing()
        own = await self._operations.look(show_running, self._operations, entries)
        if len(own) == len(entries):
            await self._operations.stop_all()
        else:
            for entry in own:
                await self._operations.stop(entry["server_id"])
        return {}

    async def refresh(self) -> Any:
        await self._operations.refresh(plugin_register.reload)
        return {}

    async def stderr(self, server_id: str, max_chars: int = Query(800, ge=1)) -> Any:
        end = self._operations.last_words.end_of(server_id)
        if end:
            await self._check(end.instance.utility_name, end.instance.group_name)
            return {"running": False, "text": end.text[-max_chars:]}
        if await self._permitted_instance(server_id) is None:
            return {"running": False, "text": ""}
        running = self._manager.is_utility_server_running
        snippet = self._manager.get_utility_stderr_snippet
        return await self._operations.look(
            lambda: {"running": running(server_id), "text": snippet(server_id, max_chars)}
        )

    async def events(self, group_name: str = "") -> Response:
        return LiveAnswer(self._live, group_name)

    async def _changed_studio(self) -> Any:
        self._operations.access.forget()
        self._operations.on_change()
        return await self.studio()

    async def _permitted_instance(self, server_id: str) -> Instance | None:
        """Refuses an instance that the user may not use."""
        instance = self._operations.table.get(server_id)
        if instance is None:
            await self._operations.listing()
            instance = self._operations.table.get(server_id)
        if instance:
            await self._check(instance.utility_name, instance.group_name)
        return instance

    async def _check(self, utility_name: str, group_name: str | None) -> None:
        """Refuses what the views show nowhere to this user."""
        if await self._operations.may_use(utility_name, group_name):
            return
        if utility_name not in self._manager.utility_registry:
            raise HTTPException(404, f"Utility '{utility_name}' is not registered.")
        raise HTTPException(403, f"Permission denied: you may not use utility '{utility_name}'.")


def make_api(operations: Operations) -> FastAPI:
    handlers = Routes(operations, Live(operations))
    router = APIRouter(prefix="/api", default_response_class=JsonAnswer)
    for path in ("utilities", "group_utilities", "navbar_utilities", "create_exp_utilities"):
        router.get(f"/utility/{path}")(getattr(handlers, path))
    for path in ("running", "running_grouped", "stderr"):
        router.get(f"/utility/{path}")(getattr(handlers, path))
    for path in ("start", "stop", "stop_all", "refresh"):
        router.post(f"/utility/{path}")(getattr(handlers, path))
    router.get("/studio")(handlers.studio)
    router.post("/studio/user")(handlers.choose_user)
    router.post("/studio/language")(handlers.choose_language)
    router.get("/events")(handlers.events)

    api = FastAPI(openapi_url=None)
    api.include_router(router)
    api.api_route("/", methods=["GET", "HEAD"])(_index)
    api.get("/favicon.ico")(_mark)
    api.mount("/page", StaticFiles(directory=PAGE, check_dir=False))
    api.exception_handler(StarletteException)(_refuse)
    api.exception_handler(RequestValidationError)(_refuse_input)
    api.exception_handler(UnicodeError)(_refuse_text)
    for failure in (OSError, ValueError, LookupError):  # of the client's own files
        api.exception_handler(failure)(_tell_failure)
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
