"""Uses the page of the simulated house as a person does, in headless Chromium.

    /usr/bin/python3 page.py HOUSE [OPTION ...]    options: of the house

Saves a picture of the page as page.png in the current folder.
"""
import http.client
import os
import re
import signal
import socket
import subprocess
import sys

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
    from selenium.webdriver.support.ui import WebDriverWait
    CHROMIUM, DRIVER = "/usr/bin/chromium", "/usr/bin/chromedriver"
    os.stat(CHROMIUM), os.stat(DRIVER)
except (ImportError, OSError) as problem:
    print(f"skipped: {problem} (script/bootstrap --browser installs it)")
    sys.exit(77)

SECONDS = 40  # longer than a start, and than a poll after a command


class House:
    def __init__(self, port=0):
        self.process = subprocess.Popen([*sys.argv[1:], "--page", str(port)],
                                        stdout=subprocess.PIPE, text=True)
        self.address = re.search(r"http://\S+", self.process.stdout.readline())[0]
        self.port = int(re.search(r":(\d+)/", self.address)[1])

    def stop(self):
        self.process.send_signal(signal.SIGINT)
        return self.process.wait(SECONDS)


def browse():
    options = webdriver.ChromeOptions()
    options.binary_location = CHROMIUM
    for option in ("headless=new", "disable-dev-shm-usage", "window-size=1280,1400",
                   *(["no-sandbox"] if os.geteuid() == 0 else [])):
        options.add_argument("--" + option)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service(DRIVER), options=options)


def status_of(house, method, path, body=None, **headers):
    connection = http.client.HTTPConnection("127.0.0.1", house.port, timeout=SECONDS)
    connection.request(method, path, body, headers)
    return connection.getresponse().status


class Page:
    def __init__(self, browser):
        self.browser = browser

    def find(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def expect(self, what, holds):
        WebDriverWait(self.browser, SECONDS, ignored_exceptions=[Exception]).until(
            lambda _: holds(), what)
        print("ok:", what, flush=True)

    def expect_text(self, selector, text):
        self.expect(f"{selector} says {text}", lambda: text in self.find(selector).text)

    def control(self, name):
        return self.find(f"input[data-name='{name}']")

    def expect_object(self, number, value):
        held = f"label:has(input[data-name='object {number}']) output"
        self.expect_text(held, value)

    def expect_clean_console(self):
        assert (log := self.browser.get_log("browser")) == [], log


def refuse_strangers(house):
    own = f"127.0.0.1:{house.port}"
    assert status_of(house, "GET", "/", Host="example.org") == 403
    assert status_of(house, "GET", "/events", Origin="http://example.org") == 403
    assert status_of(house, "POST", "/command", "set 111 1", Origin="http://example.org") == 403
    assert status_of(house, "GET", "/../House.cpp", Host=own) == 404
    assert status_of(house, "GET", "/%2e%2e/House.cpp", Host=own) == 404
    for line in ("shell id", "start with --help", "sql DROP TABLE vexad_object", "set " + "1" * 999):
        assert status_of(house, "POST", "/command", line, Host=own) in (400, 413), line


def use(page):
    page.browser.get(page.house.address)
    page.expect_text("#connection", "lumivad is running")
    page.control("object 111").click()
    page.expect("the switch lights lamp 1", lambda: page.find("[data-light='1'].on"))
    page.expect_object(111, "1 sent")
    page.control("light 1 on").click()
    page.expect("the wall switch turns it off", lambda: page.find("[data-light='1'].off"))
    page.expect("the daemon reports it", lambda: not page.expect_object(111, "0"))
    page.browser.execute_script(
        "arguments[0].value = '#40c040'; arguments[0].dispatchEvent(new Event('change'))",
        page.control("object 147"))
    page.expect_text("[data-light='4'] .is", "on, 76 %, #54ff54")
    page.find("[data-fault='bridge cut']").click()
    page.expect("the fault is shown", lambda: page.find("[data-fault='bridge cut'][aria-pressed=true]"))
    page.control("object 122").send_keys(Keys.RIGHT)  # with the keyboard
    page.expect_text("#said", "error: ")
    page.find("[data-fault='bridge cut']").send_keys(Keys.ENTER)
    page.expect("it is over", lambda: page.find("[data-fault='bridge cut'][aria-pressed=false]"))
    page.find("#search").send_keys("object 122")
    page.expect("the search finds the command", lambda: "RUN object 122" in page.find("#rows li").text)


page = Page(browse())
try:
    page.house = House()
    refuse_strangers(page.house)
    # Ten more browsers that never read what they get.
    others = [socket.create_connection(("127.0.0.1", page.house.port)) for _ in range(10)]
    for other in others:
        other.sendall(f"GET /events HTTP/1.1\r\nHost: 127.0.0.1:{page.house.port}\r\n\r\n".encode())
    use(page)
    page.find("#tour").click()
    page.expect_text("#step", "From the lights to the core")
    page.browser.save_screenshot("page.png")
    page.find("#tour").click()
    page.expect_text("#step", "The tour is ended")
    page.expect_clean_console()
    page.browser.set_window_size(360, 800)
    width = page.browser.execute_script("return document.documentElement.scrollWidth - innerWidth")
    assert width <= 0, f"{width} pixels too wide for a phone"
    assert page.house.stop() == 0
    page.expect_text("#connection", "trying again")
    page.house = House(page.house.port)
    page.expect_text("#connection", "lumivad is running")
    page.expect_object(111, "unknown")
    page.browser.get_log("browser")  # the refused connections
    page.control("object 111").click()
    page.expect_object(111, "1 sent")
    page.expect_clean_console()
    assert page.house.stop() == 0
finally:
    page.browser.quit()
    page.house.stop()
