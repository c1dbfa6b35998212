"""A browser, and what the tests do in it as a user would."""

import contextlib
import os
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

from selenium import webdriver
from selenium.common.exceptions import TimeoutException, WebDriverException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.remote.webelement import WebElement
from selenium.webdriver.support.select import Select
from selenium.webdriver.support.wait import WebDriverWait
from studio_process import PATIENCE, ROOT

SCREENSHOTS = ROOT / "build" / "screenshots"
FLAGS = """--headless=new --no-sandbox --disable-gpu --disable-quic --no-first-run --no-proxy-server
--disable-background-networking --disable-component-update --disable-sync --window-size=1280,860"""
RECORD = """
const node = document.querySelector(arguments[0]);
window.recorded = [node.dataset.status];
const look = () => window.recorded.push(node.dataset.status);
new MutationObserver(look).observe(node, { attributeFilter: ["data-status"] });
"""


def entry(name: str, *, place: str = "default", status: str = "") -> str:
    state = f"[data-status={status}]" if status else ""
    return f"#place-{place} .entry[data-utility={name}]{state}"


def row(name: str) -> str:
    return f"#running-rows tr[data-utility={name}]"


class Browser:
    """One page at a time. Whatever is looked for by a selector is waited for."""

    def __init__(self, profile: Path) -> None:
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for flag in (*FLAGS.split(), f"--user-data-dir={profile}"):
            options.add_argument(flag)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        options.ignore_local_proxy_environment_variables()
        homes = {f"XDG_{kind}_HOME": f"{profile}/{kind}" for kind in ("CONFIG", "CACHE")}
        service = Service("/usr/bin/chromedriver", env=os.environ | homes)
        self.driver = webdriver.Chrome(service=service, options=options)
        self.run = self.driver.execute_script

    def open(self, url: str) -> None:
        """In a new tab, as nobody has been there before."""
        old = self.driver.current_window_handle
        self.driver.switch_to.new_window("tab")
        new = self.driver.current_window_handle
        self.driver.switch_to.window(old)
        self.driver.close()
        self.driver.switch_to.window(new)
        self.command("Storage.clearDataForOrigin", origin=url, storageTypes="all")
        self.complaints()  # are of the page before
        self.driver.get(url)
        self.find("body[data-connection=open]")

    def command(self, name: str, **parameters: Any) -> None:
        self.driver.execute_cdp_cmd(name, parameters)

    def complaints(self) -> list[str]:
        """The errors on the console since the last call."""
        log = self.driver.get_log("browser")
        return [entry["message"] for entry in log if entry["level"] == "SEVERE"]

    def wait(self, condition: Callable[[], Any], what: str = "") -> Any:
        """Until `condition` gives something true. What is being redrawn is looked at anew."""
        wait = WebDriverWait(self.driver, PATIENCE, 0.1, [WebDriverException, IndexError])
        try:
            return wait.until(lambda _: condition())
        except TimeoutException as error:
            self.shoot("timeout")
            said = [each.text for each in self.visible("[data-part=failure]")]
            raise AssertionError(f"'{what}' did not come to pass; failures: {said}") from error

    def visible(self, selector: str) -> list[WebElement]:
        found = self.driver.find_elements(By.CSS_SELECTOR, selector)
        return [element for element in found if element.is_displayed()]

    def find(self, selector: str) -> WebElement:
        return self.wait(lambda: self.visible(selector), selector)[0]

    def gone(self, selector: str) -> None:
        self.wait(lambda: not self.visible(selector), selector)

    def has_text(self, selector: str, text: str) -> None:
        self.wait(lambda: any(text in each.text for each in self.visible(selector)), text)

    def values(self, selector: str, name: str = "utility") -> list[str]:
        """An attribute `data-…` of all that is there."""
        all_of = "return [...document.querySelectorAll(arguments[0])]"
        return self.run(f"{all_of}.map(each => each.dataset[arguments[1]])", selector, name)

    def click(self, selector: str) -> None:
        def clicked() -> bool:
            self.visible(f"{selector}:not([aria-disabled=true])")[0].click()
            return True

        self.wait(clicked, selector)

    def menu(self, opener: str, action: str) -> None:
        """Picks from the menu that a button opens."""
        self.click(f"{opener} [data-action=more]")
        self.click(f"#menu [data-action={action}]")

    def type(self, selector: str, text: str) -> None:
        """In place of what is there."""
        field = self.find(selector)
        field.clear()
        field.send_keys(text)

    def path(self) -> str:
        return self.run("return location.pathname + location.search")

    def choose(self, selector: str, value: str) -> None:
        Select(self.find(selector)).select_by_value(value)

    def press(self, *keys: str) -> None:
        ActionChains(self.driver).send_keys(*keys).perform()

    def record(self, selector: str) -> None:
        """Keeps each status that an entry has from now on; `recorded` gives them."""
        self.run(RECORD, selector)

    def recorded(self) -> list[str]:
        return self.run("return window.recorded")

    @contextlib.contextmanager
    def frame(self, utility: str) -> Iterator[None]:
        """Within the pages of an opened utility."""
        self.driver.switch_to.frame(self.find(f".panel[data-utility={utility}] iframe"))
        try:
            yield
        finally:
            self.driver.switch_to.default_content()

    def shoot(self, name: str) -> None:
        SCREENSHOTS.mkdir(parents=True, exist_ok=True)
        self.driver.save_screenshot(str(SCREENSHOTS / f"{name}.png"))
