"""The Studio's page in a real browser, with the sample plugins, as its users meet it."""

import contextlib
import itertools
import os
import re
import signal

import pytest
from browser import entry, row
from selenium.webdriver.common.keys import Keys
from studio_process import ROOT, Studio

GROUPS = ["greenhouse", "温室", "furnace", "guest_bench"]
BY_GROUP = {"group_board", "experiment_checklist"}
EVERYBODY = {"unit_converter", "logbook", "spectrum_viewer", "lab_timer"}


def with_samples(data):
    """A data directory whose Studio has the sample plugins, one of them by its own path."""
    (data / "config").mkdir()
    (data / "config" / "plugin_includes.txt").write_text(f"{ROOT}/studio/extra_plugins/lab_timer\n")
    (data / "plugins").symlink_to(ROOT / "studio" / "sample_plugins")
    return data


@pytest.fixture(scope="module")
def samples(tmp_path_factory):
    with Studio(with_samples(tmp_path_factory.mktemp("samples"))) as running:
        yield running
        running.post("utility/stop_all")


@pytest.fixture
def page(browser, samples):
    """The Studio's page, with nothing running, seen by the system administrator in English."""
    samples.post("utility/stop_all")
    samples.post("studio/user", user="admin")
    samples.post("studio/language", language="en")
    browser.open(samples.url)
    yield browser
    assert browser.complaints() == []


def start(page, name, place="default"):
    page.click(f"{entry(name, place=place)} [data-action=start]")
    page.find(entry(name, place=place, status="running"))
    page.find(row(name))


def opened(page, name, place="default"):
    page.click(f"{entry(name, place=place)} [data-action=open]")
    return page.frame(name)


def refused(page, status):
    """The browser itself complains of an answer with this status; of nothing else."""
    assert all(f"status of {status} " in each for each in page.wait(page.complaints, "a refusal"))


def test_a_utility_is_started_opened_and_used(page):
    page.record(entry("logbook"))
    start(page, "logbook")
    assert page.recorded() == ["stopped", "starting", "running"]
    page.find(f"{row('logbook')} [data-badge=own]")
    with opened(page, "logbook"):
        page.has_text("h1", "Logbook")
        page.find("input[name=text]").send_keys("温度 <21 °C>", Keys.ENTER)
        page.has_text("td + td", "温度 <21 °C>")
        assert page.run("return location.pathname") == "/utility/logbook/"
        page.run("window.kept = true")
    page.click("#tabs [data-tab=overview] a")
    page.gone("#frames")
    page.click(f"{row('logbook')} [data-action=open]")
    with page.frame("logbook"):
        assert page.run("return window.kept"), "the frame has been loaded anew"
    assert page.driver.title == "Logbook – Velmora Studio"


def test_a_failed_start_says_why(page):
    failed = entry("spectrum_viewer", status="failed")
    page.record(entry("spectrum_viewer"))
    page.click(f"{entry('spectrum_viewer')} [data-action=start]")
    assert page.find(f"{failed} [data-part=first]").text == (
        "Utility 启动失败: ModuleNotFoundError: No module named 'velmora_spectrum_reader'"
    )
    assert page.recorded() == ["stopped", "starting", "failed"]
    refused(page, 502)
    page.shoot("failure")
    page.click(f"{failed} [data-action=dismiss]")
    page.find(entry("spectrum_viewer", status="stopped"))
    page.gone("[data-part=failure]")


def test_each_user_sees_what_that_user_may_use(page):
    for user, title, default, administers in [
        ("admin", "System administrator", {"system_report"}, GROUPS),
        ("olivia", "Administrator of the Institute of Plant Research", set(), GROUPS[:2]),
        ("max", "Member", set(), []),
    ]:
        page.choose("#user", user)
        page.has_text("#access-hint", f"“{title}”")
        assert set(page.values("#place-default .entry")) == EVERYBODY | default, user
        for group in GROUPS:
            page.choose("#group", group)
            page.wait(lambda: set(page.values("#place-group .entry", "group")) == {group}, group)
            administrators = {"group_board_admin"} if group in administers else set()
            shown = set(page.values("#place-group .entry"))
            assert shown == BY_GROUP | administrators, (user, group)


def test_a_group_utility_runs_in_the_picked_group(page):
    page.choose("#group", "温室")
    page.find(f"{entry('group_board_admin', place='group')}[data-group=温室]")
    start(page, "group_board_admin", place="group")
    with opened(page, "group_board_admin", place="group"):
        page.has_text("h1", "温室")
        page.choose("tr:nth-child(3) select", "maintenance")
        page.click("tr:nth-child(3) button")
        page.has_text("tr:nth-child(3) .bad", "under maintenance")
    page.click("#tabs [data-tab=overview] a")
    page.find(f"{row('group_board_admin')}[data-group=温室]")
    page.choose("#group", "greenhouse")
    stopped = entry("group_board_admin", place="group", status="stopped")
    page.find(f"{stopped}[data-group=greenhouse]")


def test_navigation_bar_and_create_menu_start_and_open_at_once(page):
    assert page.values("#place-navbar li") == ["world_clock"]
    page.click("#place-navbar li[data-utility=world_clock] button")
    page.find(".panel[data-utility=world_clock] h2:focus")
    with page.frame("world_clock"):
        page.has_text("h1", "World clock")
    page.choose("#group", "furnace")
    page.click("#create-button")
    page.find(f"{entry('experiment_planner', place='create_exp')}[data-group='']")
    page.find(f"{entry('experiment_checklist', place='create_exp')}[data-group=furnace]")
    page.shoot("create-menu")
    page.click(f"{entry('experiment_checklist', place='create_exp')} [data-action=start]")
    with page.frame("experiment_checklist"):
        page.has_text("h1", "Experiment checklist furnace")
    page.gone("#create-panel")
    page.click("#create-button")
    page.find(entry("experiment_checklist", place="create_exp", status="running"))
    page.click(f"{entry('experiment_planner', place='create_exp')} [data-action=start]")
    with page.frame("experiment_planner"):  # asks for the group itself, and is told which there are
        offered = page.run("return [...document.querySelectorAll('option')].map(e => e.value)")
        assert offered == GROUPS
    page.click("#create-button")
    page.press(Keys.ESCAPE)
    page.gone("#create-panel")
    page.find("#create-button:focus")


def test_one_is_stopped_then_all(page, samples):
    for name in ["unit_converter", "logbook", "lab_timer"]:
        samples.start(name)
    page.click(f"{row('unit_converter')} [data-action=stop]")
    page.find(entry("unit_converter", status="stopped"))
    page.gone(row("unit_converter"))
    assert sorted(samples.names()) == ["lab_timer", "logbook"]
    page.click("#stop-all")
    page.has_text("#confirm-text", "(2)")
    page.click("#confirm-yes")
    page.find("#running-empty")
    page.gone("#stop-all")
    assert samples.names() == []


def test_the_language_is_that_of_page_and_utilities(page):
    page.choose("#language", "zh")
    page.find("html[lang=zh-CN]")
    page.has_text("#running-heading", "正在运行")
    page.has_text(f"{entry('unit_converter')} .entry-title", "单位换算")
    start(page, "unit_converter")
    with opened(page, "unit_converter"):
        page.has_text("h1", "单位换算")
    page.shoot("chinese")
    page.choose("#language", "en")
    page.has_text(f"{entry('unit_converter')} .entry-title", "Unit converter")


def test_a_killed_utility_says_so_and_comes_back(page, samples):
    pid = samples.start("unit_converter")["pid"]
    with opened(page, "unit_converter"):
        page.has_text(".big", "68 °F")
    os.kill(pid, signal.SIGKILL)
    page.has_text(".panel [data-part=in-place]", "Unit converter has ended.")
    failed = entry("unit_converter", status="failed")
    page.has_text(f"{failed} [data-part=failure]", "SIGKILL has ended it")
    page.shoot("ended")
    page.driver.get(f"{samples.forward_url}/utility/unit_converter/?value=100")
    page.has_text("h1", "Unit converter")
    page.has_text("main", "has ended by itself")
    page.has_text("pre", "unit_converter:")
    refused(page, 502)
    page.shoot("absent")
    link = page.find("#absent-start").get_attribute("href")
    assert link == f"{samples.url}/view/utility/unit_converter"
    samples.start("unit_converter")
    page.driver.refresh()
    page.has_text(".big", "212 °F")


def test_the_keyboard_is_enough(page):
    page.record(entry("unit_converter"))
    for _ in range(40):
        page.press(Keys.TAB)
        if page.visible(f"{entry('unit_converter')} :focus"):
            break
    page.press(Keys.ENTER)
    page.find(entry("unit_converter", status="running"))
    page.find(f"{entry('unit_converter')} [data-action=open]:focus")
    page.press(Keys.ENTER)
    page.find(".panel[data-utility=unit_converter] h2:focus")
    with page.frame("unit_converter"):
        page.find("form")
    assert page.recorded() == ["stopped", "starting", "running"]


def test_the_next_studio_adopts_what_is_persistent(tmp_path, browser):
    with Studio(with_samples(tmp_path)) as first, contextlib.ExitStack() as at_end:
        browser.open(first.url)
        start(browser, "logbook")
        start(browser, "unit_converter")
        pid = first.get("utility/running")[0]["pid"]
        at_end.callback(kill_if_there, pid)
        with opened(browser, "logbook"):
            browser.find("input[name=text]").send_keys("before", Keys.ENTER)
            browser.has_text("td + td", "before")
        assert first.end()[-1] == "Goes on running: logbook"
        browser.find("body[data-connection=lost]")
        with Studio(tmp_path) as second:
            browser.open(second.url)
            browser.find(f"{row('logbook')} [data-badge=adopted]")
            browser.find(f"{row('logbook')} [data-badge=persistent]")
            assert browser.values("#running-rows tr") == ["logbook"]
            browser.has_text(f"{row('logbook')} .cell-process", str(pid))
            browser.find(entry("unit_converter", status="stopped"))
            browser.shoot("adopted")
            with opened(browser, "logbook"):
                browser.has_text("td + td", "before")
            browser.click(f"{entry('logbook')} [data-action=stop]")
            browser.has_text("#confirm-text", "persistent")
            browser.click("#confirm-yes")
            browser.find(entry("logbook", status="stopped"))
            assert second.end() == ["Stopped: nothing was left to stop"]


def kill_if_there(pid):
    with contextlib.suppress(ProcessLookupError):
        os.kill(pid, signal.SIGKILL)


def test_every_look_fits_its_screen(page, samples):
    for name, group in [("logbook", ""), ("lab_timer", ""), ("group_board", "greenhouse")]:
        samples.start(name, group)
    page.click(f"{entry('logbook')} [data-action=open]")
    sizes = [(320, 600), (390, 844), (768, 1024), (1024, 768), (1440, 900)]
    schemes, languages = ["light", "dark"], ["en", "zh"]
    for (width, height), scheme, language in itertools.product(sizes, schemes, languages):
        look = f"{width}-{scheme}-{language}"
        samples.post("studio/language", language=language)
        size = {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 800}
        page.command("Emulation.setDeviceMetricsOverride", **size)
        preference = {"name": "prefers-color-scheme", "value": scheme}
        page.command("Emulation.setEmulatedMedia", features=[preference])
        page.wait(lambda: page.run("return innerWidth") == width, look)
        page.find(f"html[lang^={language}]")
        paper = page.run("return getComputedStyle(document.body).backgroundColor")
        assert (int(re.findall(r"\d+", paper)[0]) > 128) == (scheme == "light"), look
        page.click("#tabs [data-tab=overview] a")
        page.gone("#frames")
        page.shoot(f"{look}-overview")
        bottom = "return document.querySelector(arguments[0]).getBoundingClientRect().bottom"
        assert page.run(bottom, row("logbook")) <= height, look
        assert overhang(page) <= 0, look
        page.click("#tabs [data-tab*=logbook] a")
        bar = ".panel:not([hidden]) .bar"
        assert page.find(f"{bar} .state").size["height"] < 30, look  # one line
        page.shoot(f"{look}-frame")
        assert overhang(page) <= 0, look
        with page.frame("logbook"):
            assert overhang(page) <= 0, look
            paper = page.run("return getComputedStyle(document.body).backgroundColor")
            assert (int(re.findall(r"\d+", paper)[0]) > 128) == (scheme == "light"), look


def overhang(page):
    root = "document.documentElement"
    return page.run(f"return {root}.scrollWidth - {root}.clientWidth")
