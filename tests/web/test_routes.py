"""The JSON interface, who may use what, the live state, and what the guard lets through."""

import threading

import pytest
from studio_process import Studio


HTML = {"accept": "text/html"}


def shown(studio: Studio, view: str, **query) -> list[str]:
    return [entry["utility_name"] for entry in studio.get(f"utility/{view}", **query)]


def test_views_and_start_and_forwarding_decide_alike(studio):
    studio.start("admin_only")
    assert "admin_only" in shown(studio, "utilities") and "admin_only" in studio.names()
    server_id = next(
        entry["server_id"]
        for entry in studio.get("utility/running")
        if entry["utility_name"] == "admin_only"
    )
    try:
        chosen = studio.post("studio/user", user="max")
        assert chosen["user"] == "max" and {"id": "max", "role": "ORG_MEMBER"}.items() <= {
            **next(user for user in chosen["users"] if user["id"] == "max")
        }.items()
        assert "admin_only" not in shown(studio, "utilities") + studio.names()
        grouped = studio.get("utility/running_grouped")["without_group"]
        assert [entry["utility_name"] for entry in grouped] == ["streams", "raw"]
        assert studio.client.get("/utility/admin_only/").status_code == 403
        studio.post("utility/start", 403, utility_name="admin_only")
        studio.post("utility/stop", 403, server_id=server_id)
        refused = studio.client.get("/api/utility/stderr", params={"server_id": server_id})
        assert refused.status_code == 403
    finally:
        studio.post("studio/user", user="admin")
    assert studio.client.get("/utility/admin_only/").status_code == 200
    assert studio.post("utility/stop", server_id=server_id) == {"stopped": True}
    assert studio.post("utility/stop", server_id=server_id) == {"stopped": False}


@pytest.mark.parametrize(
    ("body", "status", "detail"),
    [
        ({"utility_name": "nothing"}, 404, "is not registered."),
        ({"utility_name": "nowhere"}, 403, "Permission denied"),
        ({"utility_name": "board"}, 422, "requires group_name"),
        ({"utility_name": "raw"}, 409, "is already running globally"),
        ({"utility_name": "board", "group_name": "\ud800"}, 422, "Unicode"),
        ({"utility_name": "quick_0", "config": {"a": 10**400}}, 422, ""),
        ({"utility_name": "quick_0", "config": []}, 422, "body.config"),
        ({"utility_name": 1}, 422, "body.utility_name"),
        ({"utility_name": "fails"}, 502, "No module named 'no_such_module'"),
    ],
)
def test_refused_starts(studio, body, status, detail):
    refused = studio.post("utility/start", status, **body)
    assert detail in refused["detail"]
    if status == 502:
        assert refused["detail"] == "Failed to start utility server: " + refused["digest"]
        assert refused["digest"].startswith("Utility 启动失败: ModuleNotFoundError")
    assert body["utility_name"] not in set(studio.names()) - {"raw"}


def test_places_groups_and_addresses(studio):
    assert "board" in shown(studio, "group_utilities", group_name="温室")
    assert shown(studio, "create_exp_utilities", group_name="g") == ["planner"]
    assert shown(studio, "navbar_utilities") == ["world_clock"]
    planner, board = studio.start("planner"), studio.start("board", "温室")
    running = {entry["server_id"]: entry for entry in studio.get("utility/running")}
    entry = running[board["server_id"]]
    assert entry["full_path"] == "/group_utility/%E6%B8%A9%E5%AE%A4/board/"
    assert (entry["adopted"], entry["persistent"], entry["title"]) == (False, False, "board")
    assert entry["url"] == f"{studio.url}/group_utility/温室/board" == board["url"]
    assert studio.client.get(entry["full_path"]).status_code == 200
    assert studio.client.get("/group_utility/greenhouse/board/").status_code == 503
    assert studio.client.get("/utility/board/").status_code == 403  # runs for groups alone
    assert list(studio.get("utility/running_grouped")["by_group"]) == ["温室"]
    assert running[planner["server_id"]]["full_path"] == "/utility/planner/"
    for started in (planner, board):
        assert studio.post("utility/stop", server_id=started["server_id"]) == {"stopped": True}


def test_language_and_refresh(studio):
    def bad(path, **body):
        return studio.client.post(f"/api/studio/{path}", json=body).status_code

    assert (bad("language", language="xx"), bad("user", user="nobody")) == (422, 404)
    try:
        assert studio.post("studio/language", language="zh")["language"] == "zh"
        paths = ("/utility/raw_2/", "/utility/quick_0/")
        pages = [studio.client.get(path, headers=HTML).text for path in paths]
        assert "没有名为" in pages[0] and 'lang="zh"' in pages[0] and "没有运行" in pages[1]
    finally:
        assert studio.post("studio/language", language="en")["gui"] == studio.url
    assert studio.post("utility/refresh") == {}
    assert "raw" in shown(studio, "utilities")


def test_live_state(studio):
    """Own operations show at once, an end by itself soon, and nothing is sent without news."""

    def running(state):
        return [entry["utility_name"] for entry in state["running"]]

    with studio.client.stream("GET", "/api/events", params={"group_name": "g"}) as answer:
        states = studio.states(answer)
        first = next(states)
        assert {"studio", "places", "running", "starting", "failures"} == first.keys()
        assert [entry["utility_name"] for entry in first["places"]["create_exp"]] == ["planner"]
        studio.post("studio/language", language="en")  # no change: the next state is the start's
        starter = threading.Thread(target=studio.start, args=["quick_1"])
        starter.start()
        assert [item["utility_name"] for item in next(states)["starting"]] == ["quick_1"]
        state = next(state for state in states if "quick_1" in running(state))
        starter.join()
        assert not any(entry["adopted"] for entry in state["running"])
        server_id = state["running"][-1]["server_id"]
        assert studio.get("utility/stderr", server_id=server_id) == {"running": True, "text": ""}
        assert studio.client.get("/utility/quick_1/die").status_code == 502
        state = next(state for state in states if "quick_1" not in running(state))
        failure = next(item for item in state["failures"] if item["utility_name"] == "quick_1")
        assert failure["digest"] == "first line\n<b>last words</b>"
    kept = studio.get("utility/stderr", server_id=server_id, max_chars=5)
    assert kept == {"running": False, "text": "s</b>"}


FOREIGN = {"origin": "http://evil.example"}
OWN_MISS = {"origin": "http://127.0.0.1:1"}


@pytest.mark.parametrize("path", ["/api/utility/stop_all", "/utility/raw/x"])
@pytest.mark.parametrize(
    ("headers", "status"),
    [
        (FOREIGN, 403),
        (OWN_MISS, 403),
        ({"origin": "null"}, 403),
        ({"host": "evil.example:{port}"}, 421),
        ({"host": "localhost"}, 421),
        ({"sec-fetch-site": "cross-site", "sec-fetch-mode": "navigate"}, 403),
        ({"sec-fetch-site": "same-site", "sec-fetch-mode": "cors"}, 403),
    ],
)
def test_other_sites_are_refused(studio, path, headers, status):
    headers = {name: value.format(port=studio.port) for name, value in headers.items()}
    answer = studio.client.post(path, json={}, headers=headers)
    assert answer.status_code == status and answer.json()["detail"]
    assert {"streams", "raw"} <= set(studio.names())


def test_own_pages(studio):
    page = studio.client.get("/", headers={"host": f"localhost:{studio.port}"})
    assert page.status_code == 200 and "<!doctype html>" in page.text.lower()
    assert "frame-ancestors 'self'" in page.headers["content-security-policy"]
    assert page.headers["x-content-type-options"] == "nosniff"
    link = {"sec-fetch-site": "cross-site", "sec-fetch-mode": "navigate"}
    assert studio.client.get("/", headers=link).status_code == 200
    assert studio.client.get("/", headers=link | {"sec-fetch-dest": "iframe"}).status_code == 403
    assert studio.client.get("/%75tility/raw/").json() == {"detail": "Not Found"}
