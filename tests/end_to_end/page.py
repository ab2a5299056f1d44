"""Uses the page of the simulated house in headless Chromium as a person does.

    /usr/bin/python3 page.py HOUSE [OPTION ...]    the program house and its options

Saves a picture of the page as page.png in the current folder.
"""
import http.client
import os
import re
import signal
import socket
import subprocess
import sys

CHROMIUM, DRIVER = "/usr/bin/chromium", "/usr/bin/chromedriver"
SECONDS = 60  # longer than a start, and than a poll after a command, in a slow build
try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.keys import Keys
    from selenium.webdriver.support.ui import WebDriverWait
    os.stat(CHROMIUM), os.stat(DRIVER)
except (ImportError, OSError) as problem:
    print(f"skipped: {problem} (script/bootstrap --browser installs it)")
    sys.exit(77)


class House:
    def __init__(self, port=0):
        self.process = subprocess.Popen([*sys.argv[1:], "--page", str(port)],
                                        stdout=subprocess.PIPE, text=True)
        self.address = re.search(r"http://\S+", self.process.stdout.readline())[0]
        self.port = int(re.search(r":(\d+)/", self.address)[1])

    def stop(self):
        self.process.send_signal(signal.SIGINT)
        return self.process.wait(SECONDS)

    def answer_to(self, method, path, body=None, **headers):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=SECONDS)
        connection.request(method, path, body, headers)
        return connection.getresponse().status


def start_browser():
    options = webdriver.ChromeOptions()
    options.binary_location = CHROMIUM
    for option in ("headless=new", "disable-dev-shm-usage", "window-size=1280,1150"):
        options.add_argument(option)
    if os.geteuid() == 0:
        options.add_argument("no-sandbox")
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service(DRIVER), options=options)


def find(selector):
    return browser.find_element("css selector", selector)


def control(name):
    return find(f"input[data-name='{name}']")


def expect_that(what, holds):
    WebDriverWait(browser, SECONDS, ignored_exceptions=[Exception]).until(lambda _: holds(), what)
    print("ok:", what, flush=True)


def expect(selector, text=""):
    expect_that(f"{selector} {text}", lambda: text in find(selector).text)


def expect_object(number, text):
    expect(f"label:has(input[data-name='object {number}']) output", text)


def expect_clean_console():
    assert (log := browser.get_log("browser")) == [], log


def refuse_strangers():
    evil = "http://example.org"
    assert house.answer_to("GET", "/", Host="example.org") == 403
    assert house.answer_to("GET", "/events", Origin=evil) == 403
    assert house.answer_to("POST", "/command", "set 111 1", Origin=evil) == 403
    assert house.answer_to("GET", "/../tour.house") == 404
    assert house.answer_to("GET", "/%2e%2e/tour.house") == 404
    for line in ("shell id", "start with --help", "sql DROP TABLE vexad_object", "set " + "1" * 999):
        assert house.answer_to("POST", "/command", line) in (400, 413), line


def use_the_house():
    control("object 111").click()
    expect("[data-light='1'].on", "on, 79 %")
    expect_object(111, "1 sent")
    control("light 1 on").click()
    expect("[data-light='1'].off", "off")
    expect_object(111, "0")
    browser.execute_script(
        "arguments[0].value = '#40c040'; arguments[0].dispatchEvent(new Event('change'))",
        control("object 147"))
    expect("[data-light='4'] .is", "on, 76 %, #54ff54")
    find("[data-fault='bridge cut']").click()
    expect("[data-fault='bridge cut'][aria-pressed=true]")
    control("object 122").send_keys(Keys.RIGHT)
    expect("#said", "error: ")
    find("[data-fault='bridge cut']").send_keys(Keys.ENTER)
    expect("[data-fault='bridge cut'][aria-pressed=false]")
    find("#search").send_keys("object 122")
    expect("#rows li:last-child", "RUN object 122: 51")
    find("#search").send_keys(Keys.BACKSPACE * 10)


house = House()
browser = start_browser()
try:
    refuse_strangers()
    sleepers = [socket.create_connection(("127.0.0.1", house.port)) for _ in range(10)]
    for peer in sleepers:  # browsers that never read
        peer.sendall(f"GET /events HTTP/1.1\r\nHost: 127.0.0.1:{house.port}\r\n\r\n".encode())
    browser.get(house.address)
    expect("#connection", "lumivad is running")
    use_the_house()
    find("#tour").click()
    expect("#step", "From the lights to the core")
    browser.save_screenshot("page.png")
    find("#tour").click()
    expect("#step", "The tour is ended")
    expect_clean_console()
    phone = {"width": 360, "height": 800, "deviceScaleFactor": 2, "mobile": True}
    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", phone)
    expect_that("as wide as a phone", lambda: browser.execute_script(
        "return document.documentElement.scrollWidth === 360"))
    assert house.stop() == 0
    expect("#connection", "trying again")
    house = House(house.port)
    expect("#connection", "lumivad is running")
    expect_object(111, "unknown")
    browser.get_log("browser")  # forgets the refused connections
    control("object 111").click()
    expect_object(111, "1 sent")
    expect_clean_console()
    assert house.stop() == 0
finally:
    browser.quit()
    house.stop()
