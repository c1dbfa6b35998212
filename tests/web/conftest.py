"""One Studio for all tests that don't end it, with its probes running, and one browser."""

import pytest
from studio_process import Studio


@pytest.fixture(scope="session")
def studio(tmp_path_factory):
    with Studio(tmp_path_factory.mktemp("data")) as running:
        running.start("streams")
        running.start("raw")
        yield running
        running.post("utility/stop_all")


@pytest.fixture(scope="session")
def browser(tmp_path_factory):
    from browser import Browser  # not everywhere is there one

    browser = Browser(tmp_path_factory.mktemp("profile"))
    yield browser
    browser.driver.quit()
