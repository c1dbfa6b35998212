"""The page in a day's work: found again, followed, started anew, configured, and safe."""

import os
import signal

import pytest
from browser import entry, row
from selenium.webdriver.common.keys import Keys
from studio_process import ROOT, Studio

AXE = ROOT / "build" / "npm" / "node_modules" / "axe-core" / "axe.min.js"


@pytest.fixture(scope="module")
def working(tmp_path_factory):
    with Studio(tmp_path_factory.mktemp("working")) as running:
        yield running
        running.post("utility/stop_all")


@pytest.fixture
def page(browser, working):
    working.post("utility/stop_all")
    working.post("studio/language", language="en")
    browser.open(working.url)
    browser.find(entry("daily"))
    yield browser
    assert browser.complaints() == []


def say(working, word):
    working.pages.get(f"/utility/daily/{word}")


def test_search_filter_favourites_and_folds(page, working):
    everything = page.values("#place-default .entry")
    assert len(everything) > 20
    page.press("/")
    page.find("#search:focus").send_keys("what TOLD")  # words of the description
    page.wait(lambda: page.values("#place-default .entry") == ["daily"])
    assert page.find("#default-count").text == f"1 of {len(everything)}"
    page.press(Keys.ARROW_DOWN, Keys.ENTER)
    page.find(entry("daily", status="running"))
    page.click("#search")
    page.press(Keys.ESCAPE)
    page.wait(lambda: page.values("#place-default .entry") == everything)
    page.click("#filter-running")
    page.wait(lambda: page.values("#place-default .entry") == ["daily"])
    page.click("#filter-running")
    page.choose("#filter-plugin", "daily")
    page.wait(lambda: set(page.values("#place-default .entry")) == {"daily", "plain", "hostile"})
    page.choose("#filter-plugin", "")
    page.click(f"{entry('plain')} [data-action=favourite]")
    page.wait(lambda: page.values("#place-default .entry")[0] == "plain")
    page.click("[data-fold=group]")
    page.gone("#group-body")
    page.driver.refresh()
    page.find(f"{entry('plain')} [aria-pressed=true]")
    page.wait(lambda: page.values("#place-default .entry")[0] == "plain")
    page.gone("#group-body")
    page.click("#fold-catalogue")
    page.gone("#catalogue")


def test_last_lines_follow_and_outlive_the_instance(page, working):
    working.start("daily")
    say(working, "first-word")
    page.menu(entry("daily"), "lines")
    page.has_text("[data-part=lines]", "first-word")
    for number in range(200):
        say(working, f"word-{number}")
    page.has_text("[data-part=lines]", "word-199")
    rest = "const n = document.querySelector('[data-part=lines]');"
    assert page.run(f"{rest} return n.scrollHeight - n.scrollTop - n.clientHeight") < 2
    page.type(".lines-tools input[type=search]", "WORD-19")
    page.has_text(".lines-tools [role=status]", "11 of 201 lines")
    page.type(".lines-tools input[type=search]", "")
    working.pages.get("/utility/daily/die")
    page.has_text("[data-part=lines-state]", "Its exit code was 7.")
    page.has_text("[data-part=lines]", "last words")
    page.click("#tabs [data-tab=overview] a")
    page.has_text("#failures [data-utility=daily]", "Its exit code was 7.")
    page.driver.refresh()  # kept until it is dismissed
    page.click("#failures [data-utility=daily] [data-action=dismiss]")
    page.gone("#past")
    page.gone(f"{entry('daily')} [data-part=failure]")
    page.complaints()  # of the answer that broke off


def test_start_by_form_then_details_then_restart(page, working, tmp_path):
    until = tmp_path / "until"
    page.menu(entry("daily"), "configure")
    page.type("[data-field=count] input", "9")
    page.click("#config-start")
    page.has_text("[data-field=count] .fault", "from 1 to 5")
    page.type("[data-field=count] input", "3")
    page.type("[data-field=until] input", str(until))
    page.choose("[data-field=mode] select", "1")
    page.click("#config-start")
    waits = entry("daily", status="starting")
    page.has_text(f"{waits} [data-part=state]", "waits for an answer")
    page.menu(entry("daily"), "details")
    page.has_text("[data-part=details]", '"mode": "thorough"')
    page.has_text("[data-part=details]", "--utility-name daily --port")
    page.has_text("[data-part=details]", "plugins/daily/daily.py")
    page.click("[data-part-link=page]")
    page.has_text("[data-part=in-place]", "as soon as it answers on port")
    assert not page.visible(".panel iframe")
    until.touch()
    with page.frame("daily"):
        page.has_text("h1", "Daily")
    (before,) = working.get("utility/running")
    page.click(".bar [data-action=restart]")
    pids = lambda: [each["pid"] for each in working.get("utility/running")]
    page.wait(lambda: pids() not in ([], [before["pid"]]))
    page.find(".panel[data-status=running] iframe")
    after = working.get("utility/details", utility_name="daily")["instance"]
    config = {"count": 3, "until": str(until), "mode": "thorough", "verbose": False}
    assert after["config"] == config and after["pid"] != before["pid"]


def test_a_persistent_one_is_configured_by_json_and_asks_before_it_stops(page, working):
    page.menu(entry("plain"), "configure")
    page.type("#config-dialog textarea", "[1]")
    page.click("#config-start")
    page.has_text("#config-dialog .fault", "of the type object")
    page.type("#config-dialog textarea", '{"a": [1, "二"]}')
    page.click("#config-start")
    page.find(entry("plain", status="running"))
    details = working.get("utility/details", utility_name="plain")
    assert details["instance"]["config"] == {"a": [1, "二"]}
    page.has_text(f"{row('plain')} [data-use=memory]", "MB")
    page.click(f"{row('plain')} [data-action=stop]")
    page.click("#confirm-no")
    assert working.names() == ["plain"]
    page.click(f"{row('plain')} [data-action=stop]")
    page.click("#confirm-yes")
    page.gone(row("plain"))


def test_every_view_has_an_address(page, working):
    working.start("daily")
    working.start("plain")
    page.click(f"{row('plain')} [data-action=lines]")
    page.find(".panel[data-utility=plain][data-part=lines]")
    assert page.path() == "/view/utility/plain/lines"
    page.driver.get(f"{working.url}/view/group/%E6%B8%A9%E5%AE%A4/board/details")
    page.has_text("[data-part=details]", "Greenhouse 2 (温室)")
    page.driver.get(f"{working.url}/view/utility/daily?whole")
    with page.frame("daily"):
        page.has_text("h1", "Daily")
    page.gone("#catalogue")
    page.click(".panel[data-utility=daily] [data-action=whole]")
    page.find("#catalogue")
    assert page.path() == "/view/utility/daily"
    assert page.complaints() == []
    page.click("#tabs [data-tab=plugins] a")
    page.driver.refresh()
    page.has_text("#plugin-list", "OSError: the spectrometer's library is missing")
    problems = [each.text for each in page.visible("[data-plugin=refused] [data-part=problem]")]
    assert problems == [
        "registration 1: it has no utility_name",
        "scriptless: there is no script 'nowhere.py'",
        "levelless: TypeError: access_level must be a text",
        "behind: a registration of the same plugin before it has failed",
    ]
    page.driver.back()
    page.find(".panel[data-utility=daily][data-part=page]")
    page.driver.back()
    page.gone("#catalogue")


def test_the_page_goes_on_while_something_is_being_stopped(page, working):
    pid = working.start("daily")["pid"]
    with working.long_stop() as lasts:
        page.find(f"{row('mutes')}[data-status=stopping]")
        page.click(f"{entry('plain')} [data-action=start]")
        page.has_text(f"{entry('plain', status='starting')} [data-part=state]", "Waits for a stop")
        page.choose("#language", "zh")
        page.has_text("#running-heading", "正在运行")
        page.choose("#user", "max")
        page.gone(entry("admin_only"))
        page.choose("#user", "admin")
        page.find(entry("admin_only"))
        os.kill(pid, signal.SIGKILL)
        page.has_text("#failures [data-utility=daily]", "SIGKILL")
        assert lasts(), "something has waited for the stop"
    page.gone(row("mutes"))
    page.find(entry("plain", status="running"))


def test_a_hostile_page_reaches_nothing_of_the_studio(page, working):
    config = {"studio": working.url}
    working.post("utility/start", utility_name="hostile", config=config)
    page.click(f"{entry('hostile', status='running')} [data-action=open]")
    with page.frame("hostile"):
        page.find("body[data-succeeded]")
        succeeded = page.run("return document.body.dataset.succeeded")
    assert set(succeeded.split()) <= {"worker"}  # below its own prefix, at its own origin
    assert page.path() == "/view/utility/hostile"
    page.find("body[data-connection=open]")
    assert working.names() == ["hostile"] and working.get("studio")["user"] == "admin"
    page.complaints()  # of all that was refused


STREAMS = """window.streams = [...Array(8)].map(() => new EventSource("events"));"""
OPEN = "return window.streams.filter((stream) => stream.readyState === EventSource.OPEN).length"


def test_streams_of_a_utility_leave_the_page_its_connections(page, working):
    working.start("streams")
    page.click(f"{entry('streams', status='running')} [data-action=open]")
    with page.frame("streams"):
        page.run(STREAMS)
        page.wait(lambda: page.run(OPEN) == 6)  # as many as a browser opens to one origin
    page.choose("#language", "zh")
    page.has_text("#tabs", "插件")
    page.click(".panel[data-utility=streams] [data-action=stop]")
    page.wait(lambda: working.names() == [])
    page.complaints()  # of the streams that have ended


@pytest.mark.skipif(not AXE.exists(), reason="tools/setup has installed no axe-core")
@pytest.mark.parametrize("scheme", ["light", "dark"])
def test_every_view_is_accessible(page, working, scheme):
    working.start("daily")
    page.command("Emulation.setEmulatedMedia", features=[scheme_of(scheme)])
    page.click(f"{entry('fails')} [data-action=start]")
    page.find(entry("fails", status="failed"))
    page.click(f"{entry('daily')} [data-action=more]")
    assert faults(page) == []
    page.press(Keys.ESCAPE)
    page.menu(entry("plain"), "configure")
    assert faults(page) == []
    page.complaints()  # of the start that failed
    for path in ("plugins", "utility/daily", "utility/daily/lines", "utility/daily/details"):
        page.driver.get(f"{working.url}/view/{path}")
        page.find(entry("daily", status="running"))
        assert faults(page) == [], path


def scheme_of(scheme):
    return {"name": "prefers-color-scheme", "value": scheme}


def faults(page):
    """What axe-core finds in the page as it stands, its frames aside."""
    page.run(AXE.read_text())
    script = "axe.run(document, {iframes: false}).then(arguments[arguments.length - 1])"
    found = page.driver.execute_async_script(script)["violations"]
    return [(each["id"], [node["html"] for node in each["nodes"]][:3]) for each in found]


ASK = "return fetch('x').then(a => a.text()).then(t => (t.match(/cookie: (.*)/) ?? [])[1])"


def test_cookies_that_scripts_set_arrive(studio, browser):
    driver, run = browser.driver, browser.run
    driver.get(f"{studio.forward_url}/utility/nothing/")
    driver.add_cookie({"name": "foreign", "value": "1", "path": "/"})
    driver.get(f"{studio.forward_url}/utility/raw/")
    assert run(ASK) is None
    run("document.cookie = 'bound=1'")
    assert run(ASK).strip() == "bound=1"
    run("document.cookie = 'wide=1; path=/'")
    assert run(ASK).strip() == "bound=1; wide=1"
    driver.get(f"{studio.forward_url}/utility/quick_3/")
    driver.delete_all_cookies()
