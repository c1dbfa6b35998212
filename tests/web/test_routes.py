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
        assert studio.pages.get("/utility/admin_only/").status_code == 403
        studio.post("utility/start", 403, utility_name="admin_only")
        studio.post("utility/stop", 403, server_id=server_id)
        refused = studio.client.get("/api/utility/stderr", params={"server_id": server_id})
        assert refused.status_code == 403
    finally:
        studio.post("studio/user", user="admin")
    assert studio.pages.get("/utility/admin_only/").status_code == 200
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
    assert detail.lower() in refused["detail"].lower()
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
    assert entry["url"] == f"{studio.forward_url}/group_utility/温室/board" == board["url"]
    assert studio.pages.get(entry["full_path"]).status_code == 200
    assert studio.pages.get("/group_utility/greenhouse/board/").status_code == 503
    assert studio.pages.get("/utility/board/").status_code == 403  # runs for groups alone
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
        pages = [studio.pages.get(path, headers=HTML).text for path in paths]
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
        assert {"studio", "running", "starting", "failures"} == first.keys()
        studio.post("studio/language", language="en")  # no change: the next state is the start's
        starter = threading.Thread(target=studio.start, args=["quick_1"])
        starter.start()
        assert [item["utility_name"] for item in next(states)["starting"]] == ["quick_1"]
        state = next(state for state in states if "quick_1" in running(state))
        starter.join()
        assert not any(entry["adopted"] for entry in state["running"])
        server_id = state["running"][-1]["server_id"]
        assert studio.get("utility/stderr", server_id=server_id) == {"running": True, "text": ""}
        assert studio.pages.get("/utility/quick_1/die").status_code == 502
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
        ({"origin": "http://127.0.0.1:{other}"}, 403),  # each of the Studio's origins is foreign
        ({"origin": "http://localhost:{other}"}, 403),  # to the other
        ({"host": "127.0.0.1:{other}"}, 421),
        ({"host": "evil.example:{port}"}, 421),
        ({"host": "localhost"}, 421),
        ({"sec-fetch-site": "cross-site", "sec-fetch-mode": "navigate"}, 403),
        ({"sec-fetch-site": "same-site", "sec-fetch-mode": "cors"}, 403),
    ],
)
def test_other_sites_are_refused(studio, path, headers, status):
    client, port, other = studio.client, studio.port, studio.forward_port
    if path.startswith("/utility"):
        client, port, other = studio.pages, other, port
    headers = {name: value.format(port=port, other=other) for name, value in headers.items()}
    answer = client.post(path, json={}, headers=headers)
    assert answer.status_code == status and answer.json()["detail"]
    assert {"streams", "raw"} <= set(studio.names())


def test_nothing_of_the_studio_is_read_or_shown_from_elsewhere(studio):
    """What a browser says of a link, a frame, a script and a fetch; here and at the utilities."""

    def status(client, path, site, mode, dest):
        values = {"site": site, "mode": mode, "dest": dest}
        headers = {f"sec-fetch-{name}": value for name, value in values.items()}
        return client.get(path, headers=headers).status_code

    link, frame = ("navigate", "document"), ("navigate", "iframe")
    script, fetch = ("no-cors", "script"), ("cors", "empty")
    own, pages = studio.client, studio.pages
    for client, path, site, kind, expected in [
        *[(own, "/", site, link, 200) for site in ("same-site", "cross-site", "none")],
        *[(own, "/", site, frame, 403) for site in ("same-site", "cross-site")],
        *[(own, "/page/js/main.js", "same-site", kind, 403) for kind in (script, fetch)],
        *[(own, "/api/studio", "same-site", kind, 403) for kind in (link, frame, script, fetch)],
        *[(own, "/%61pi/events", "same-site", kind, 403) for kind in (link, fetch)],
        (pages, "/utility/raw/", "same-site", frame, 200),
        (pages, "/utility/raw/", "cross-site", frame, 403),
        (pages, "/utility/raw/", "cross-site", link, 200),
        *[(pages, "/utility/raw/", "same-site", kind, 403) for kind in (script, fetch)],
    ]:
        assert status(client, path, site, *kind) == expected, (path, site, kind)


def test_own_pages(studio):
    page = studio.client.get("/", headers={"host": f"localhost:{studio.port}"})
    assert page.status_code == 200 and "<!doctype html>" in page.text.lower()
    assert "frame-ancestors 'none'" in page.headers["content-security-policy"]
    assert studio.forward_url in page.headers["content-security-policy"]
    assert page.headers["x-content-type-options"] == "nosniff"
    assert page.headers["cross-origin-opener-policy"] == "same-origin"
    assert studio.client.get("/%75tility/raw/").json() == {"detail": "Not Found"}


def test_each_origin_serves_its_own_alone(studio):
    for path in ("/", "/api/studio", "/page/js/main.js", "/utility", "/utility/../api/studio"):
        assert studio.pages.get(path).status_code == 404, path
    sent_on = studio.client.get("/utility/raw/a%2Fb?q=1")
    assert sent_on.status_code == 307
    assert sent_on.headers["location"] == f"{studio.forward_url}/utility/raw/a%2Fb?q=1"
    assert studio.client.post("/utility/raw/").status_code == 404
