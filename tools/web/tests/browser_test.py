#!/usr/bin/python3
"""The browser checker in headless Chromium, driven through Selenium.

    tools/web/tests/browser_test.py SITE_DIR KORRIN_HOST

Serves SITE_DIR on 127.0.0.1, pastes an example document into the page,
checks the findings, plans and summary it shows against
`korrin-host plan --format json` for the same document and accessories,
clicks a finding and checks the highlighted line, downloads the plan JSON
and compares it byte for byte, checks that the page stays responsive and
shows its progress while it plans a document of 100,000 settings, and
fails on any console error.
"""
import functools
import http.server
import json
import pathlib
import subprocess
import sys
import tempfile
import threading
import time

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

ROOT = pathlib.Path(__file__).resolve().parents[3]
EXAMPLES = ROOT / "examples"
# The rows of each list the page shows (ROW_LIMIT in checker.js).
ROW_LIMIT = 500

failures = []


def check(condition, what):
    print(("ok: " if condition else "FAILED: ") + what, flush=True)
    if not condition:
        failures.append(what)


class QuietHandler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, format, *args):  # noqa: A002 - the base class's name
        pass


def start_server(site):
    handler = functools.partial(QuietHandler, directory=str(site))
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server


def start_browser(profile, downloads):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for flag in ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                 "--no-first-run", "--disable-background-networking",
                 "--disable-component-update", "--disable-sync",
                 "--window-size=1400,1000", f"--user-data-dir={profile}"):
        options.add_argument(flag)
    options.add_experimental_option("prefs", {
        "download.default_directory": str(downloads),
        "download.prompt_for_download": False,
    })
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
    driver.execute_cdp_cmd("Page.setDownloadBehavior",
                           {"behavior": "allow", "downloadPath": str(downloads)})
    return driver


def korrin_host_plan(korrin_host, document_name, accessories_file, cwd, extra=()):
    run = subprocess.run([korrin_host, "plan", "--document", document_name, "--fleet",
                          str(accessories_file), "--format", "json", *extra],
                         cwd=cwd, capture_output=True, text=True, check=False)
    if run.returncode not in (0, 1):
        raise RuntimeError(f"korrin-host plan failed ({run.returncode}): {run.stderr}")
    return run.stdout


def paste(driver, element, text):
    """Pastes `text` into `element` as the clipboard would: one insertText."""
    element.click()
    driver.execute_script("arguments[0].select();", element)
    driver.execute_cdp_cmd("Input.insertText", {"text": text})


def wait_for_result(driver, timeout):
    WebDriverWait(driver, timeout).until(
        lambda d: d.find_element(By.ID, "status").text.startswith(("Checked in", "The checker")))
    return driver.find_element(By.ID, "status").text


def expected_findings(report, document_name):
    lines = []
    for finding in report.get("findings", []):
        lines.append(finding_text(finding, None, document_name))
    for plan in report["accessories"]:
        for finding in plan.get("findings", []):
            lines.append(finding_text(finding, plan["id"], document_name))
    return lines


def finding_text(finding, accessory, document_name):
    where = document_name
    if finding.get("line", 0) > 0:
        where += f":{finding['line']}:{finding.get('column') or 1}"
    text = f"{where} {finding.get('severity') or 'note'}"
    if finding.get("code"):
        text += f" [{finding['code']}]"
    if accessory:
        text += f" {accessory}:"
    text += f" {finding['message']}"
    if finding.get("effect"):
        text += f" ({finding['effect']})"
    return text


def check_example(driver, base, korrin_host, downloads, document_name):
    document_file = EXAMPLES / "documents" / document_name
    document = document_file.read_text(encoding="utf-8")
    expected_json = korrin_host_plan(korrin_host, document_name, EXAMPLES / "accessories.json",
                                     EXAMPLES / "documents")
    report = json.loads(expected_json)

    driver.get(base)
    presets = json.loads((EXAMPLES / "accessories.json").read_text(encoding="utf-8"))
    rows = driver.find_elements(By.CSS_SELECTOR, "#accessory-table tbody tr")
    check(len(rows) == len(presets), f"{document_name}: the form starts with the "
          f"{len(presets)} preset accessories (shows {len(rows)})")
    name = driver.find_element(By.ID, "document-name")
    name.clear()
    name.send_keys(document_name)
    paste(driver, driver.find_element(By.ID, "document-input"), document)
    check(driver.find_element(By.ID, "document-input").get_property("value") == document,
          f"{document_name}: the pasted document is in the text area")
    driver.find_element(By.ID, "check-button").click()
    status = wait_for_result(driver, 60)
    check(status.startswith("Checked in"), f"{document_name}: status after the check: {status!r}")

    # Everything the page loaded came from the test's own server.
    loaded = driver.execute_script(
        "return performance.getEntriesByType('resource').map((entry) => entry.name);")
    check(loaded and all(url.startswith(base) for url in loaded),
          f"{document_name}: every resource from {base} ({loaded})")

    # The findings.
    shown = [item.text for item in driver.find_elements(By.CSS_SELECTOR, "#findings li")]
    wanted = expected_findings(report, document_name) or ["No findings."]
    check(shown == wanted, f"{document_name}: findings shown {shown} == {wanted}")

    # The plan of each accessory.
    sections = driver.find_elements(By.CSS_SELECTOR, "#plans section.plan")
    check([s.get_attribute("data-accessory") for s in sections]
          == [p["id"] for p in report["accessories"]], f"{document_name}: one plan per accessory")
    for section, plan in zip(sections, report["accessories"]):
        outcome = section.find_element(By.CSS_SELECTOR, ".outcome").text
        check(outcome == plan["outcome"], f"{document_name} {plan['id']}: outcome {outcome!r}")
        settings = [[cell.text for cell in row.find_elements(By.TAG_NAME, "td")]
                    for row in section.find_elements(By.CSS_SELECTOR, "table.settings tr")[1:]]
        wanted_settings = [[str(s["usageId"]), s["key"],
                            s["value"] if s["sent"] else "follows the user: not sent",
                            s["access"], "" if s["followUser"] is None
                            else str(s["followUser"]).lower()] for s in plan["settings"]]
        check(settings == wanted_settings,
              f"{document_name} {plan['id']}: settings sent {settings}")
        stored = [[cell.text for cell in row.find_elements(By.TAG_NAME, "td")]
                  for row in section.find_elements(By.CSS_SELECTOR, "table.stored tr")[1:]]
        wanted_stored = [[str(s["usageId"]), s["key"], s["value"], s["access"]]
                         for s in plan["storedNotSent"]]
        check(stored == wanted_stored, f"{document_name} {plan['id']}: stored, not sent {stored}")
        # The library's own records: collapsed in the plan, not among the findings.
        records = plan["warnings"] + plan["configureRequiredWarnings"]
        details = section.find_elements(By.CSS_SELECTOR, "details.records")
        if records:
            summary_text = details[0].find_element(By.TAG_NAME, "summary").text if details else None
            check(len(details) == 1 and summary_text == f"library records ({len(records)})"
                  and details[0].get_attribute("open") is None,
                  f"{document_name} {plan['id']}: records collapsed as {summary_text!r}")
            if details:
                details[0].find_element(By.TAG_NAME, "summary").click()
                shown_records = [li.text for li in details[0].find_elements(By.TAG_NAME, "li")]
                wanted_records = [f"{r['level']} {r['text']}" for r in records[:ROW_LIMIT]]
                check(shown_records[:len(wanted_records)] == wanted_records,
                      f"{document_name} {plan['id']}: the records listed")
        else:
            check(not details, f"{document_name} {plan['id']}: no records, no records box")
        resolved = [r.text for r in section.find_elements(By.CSS_SELECTOR, ".resolved-model")]
        check(resolved == ([plan["resolvedModel"]] if plan["resolvedModel"] != plan["model"] else [])
              and (not resolved or f"(reported as {plan['model']}: the library treats it as "
                   f"{plan['resolvedModel']})" in section.text),
              f"{document_name} {plan['id']}: resolved model shown only when it differs {resolved}")
        for kind, rows in (("settings", plan["settings"]), ("stored", plan["storedNotSent"])):
            tables = section.find_elements(By.CSS_SELECTOR, f"table.{kind}")
            check(len(tables) == (1 if rows else 0),
                  f"{document_name} {plan['id']}: the {kind} table only when it has rows")
        when = section.find_element(By.CSS_SELECTOR, ".template-time").text
        wanted_when = (f"{plan['templateTime']} ("
                       + (time.strftime("%Y-%m-%d %H:%M:%S UTC", time.gmtime(plan["templateTime"]))
                          if plan["templateTime"] else "none taken") + ")")
        check(when == wanted_when, f"{document_name} {plan['id']}: template time {when!r}")
        firmware = section.find_element(By.CSS_SELECTOR, ".firmware").text
        action = plan["firmware"]["action"]
        check(firmware.split(" ")[0] in {"upgrade": ["downgrade" if plan["firmware"].get(
                                             "downgrade") else "upgrade"],
                                         "delegate": ["delegated"],
                                         "stay": ["stays"], "nothing": ["nothing"],
                                         "failure": ["no"]}[action],
              f"{document_name} {plan['id']}: firmware {firmware!r} for {action}")
        if action == "upgrade":
            check(plan["firmware"]["version"] in firmware and plan["firmware"]["name"] in firmware,
                  f"{document_name} {plan['id']}: the upgrade names its version and file")

    # The summary.
    summary = driver.find_element(By.ID, "summary")
    totals = report["summary"]
    def count(number, singular, plural=None):
        return f"{number} {singular if number == 1 else plural or singular + 's'}"

    wanted_summary = (
        f"{report['document']}: {count(totals['accessories'], 'accessory', 'accessories')}, "
        f"{totals['configured']} configured, {totals['rejected']} rejected, "
        f"{totals['notConfigured']} not configured, "
        + (f"{count(totals['upgradesRequested'], 'firmware request')} "
           f"({count(totals['downgradesRequested'], 'downgrade')}), "
           if totals.get("downgradesRequested") else
           f"{count(totals['upgradesRequested'], 'upgrade')} requested, ")
        + f"{totals['delegated']} delegated, {count(totals['findings'], 'finding')}, "
        f"{count(totals['warnings'], 'library warning')}")
    check(summary.text == wanted_summary, f"{document_name}: summary {summary.text!r}")

    # A finding at a line: clicking it scrolls the document view to the line
    # and highlights exactly that line.
    at_lines = driver.find_elements(By.CSS_SELECTOR, "#findings li.has-line")
    wanted_lines = [f for f in report.get("findings", []) if f.get("line", 0) > 0]
    check(len(at_lines) == len(wanted_lines),
          f"{document_name}: {len(wanted_lines)} findings with a line are clickable")
    if at_lines:
        target = at_lines[-1]
        line = int(target.get_attribute("data-line"))
        driver.set_window_size(1280, 800)
        driver.execute_script("window.scrollTo(0, 0);")
        target.click()
        place = driver.execute_script(
            "const line = document.querySelector('#document-lines .doc-line.highlight');"
            "const mark = line && line.querySelector('.column-mark');"
            "const view = document.getElementById('document-view').getBoundingClientRect();"
            "if (!line || !mark) return null;"
            "const box = line.getBoundingClientRect(), at = mark.getBoundingClientRect();"
            "return [box.top, box.bottom, window.innerHeight, at.left, at.right,"
            " view.left, view.right];")
        check(place is not None and 0 <= place[0] and place[1] <= place[2],
              f"{document_name}: at 1280x800 the highlighted line {line} is inside the "
              f"window after the click ({place})")
        check(place is not None and place[5] <= place[3] and place[4] <= place[6],
              f"{document_name}: the reported column of line {line} is inside the "
              f"document box ({place})")
        highlighted = driver.find_elements(By.CSS_SELECTOR, "#document-lines .doc-line.highlight")
        check(len(highlighted) == 1 and highlighted[0].get_attribute("data-line") == str(line)
              and highlighted[0].find_element(By.CSS_SELECTOR, ".content").text.strip()
              == document.split("\n")[line - 1].strip(),
              f"{document_name}: clicking the finding at line {line} highlights that line")
        # The first such finding, chosen from the keyboard.
        first = at_lines[0]
        first_line = int(first.get_attribute("data-line"))
        driver.execute_script("arguments[0].focus();", first)
        first.send_keys(Keys.ENTER)
        highlighted = driver.find_elements(By.CSS_SELECTOR, "#document-lines .doc-line.highlight")
        check(len(highlighted) == 1 and highlighted[0].get_attribute("data-line") == str(first_line)
              and "selected" in first.get_attribute("class"),
              f"{document_name}: Enter on the finding at line {first_line} highlights that line")
        driver.set_window_size(1400, 1000)

    # The download.
    for old in downloads.iterdir():
        old.unlink()
    driver.find_element(By.ID, "download-button").click()
    target = downloads / (document_name[:-len(".json")] + ".plan.json")
    deadline = time.time() + 20
    while not target.exists() and time.time() < deadline:
        time.sleep(0.1)
    time.sleep(0.2)
    downloaded = target.read_text(encoding="utf-8") if target.exists() else None
    check(downloaded == expected_json,
          f"{document_name}: the downloaded {target.name} equals korrin-host plan --format json")


def check_edited_accessories(driver, base, korrin_host, downloads, work):
    """Accessories edited in the form: the page plans the edited
    descriptions, as korrin-host does for a file holding them."""
    document_name = "office.json"
    document = (EXAMPLES / "documents" / document_name).read_text(encoding="utf-8")
    presets = json.loads((EXAMPLES / "accessories.json").read_text(encoding="utf-8"))
    edited = [dict(presets[0]), dict(presets[2])]
    edited[0]["firmware"] = "2-4-0"
    edited[1]["model"] = "Zelor H-8"
    edited[1]["dongleModel"] = "Zelor D-1"
    edited[1]["dongleFirmware"] = "1-0-0"
    accessories_file = work / "edited.json"
    accessories_file.write_text(json.dumps(edited), encoding="utf-8")
    expected_json = korrin_host_plan(korrin_host, document_name, accessories_file,
                                     EXAMPLES / "documents")

    driver.get(base)
    # Keep the first and the third preset: remove the others from the form.
    for index in reversed(range(len(presets))):
        if index not in (0, 2):
            driver.find_elements(By.CSS_SELECTOR, "#accessory-table tbody tr")[index] \
                .find_element(By.TAG_NAME, "button").click()
    rows = driver.find_elements(By.CSS_SELECTOR, "#accessory-table tbody tr")

    def field(row, name):
        return rows[row].find_element(By.CSS_SELECTOR, f"[data-field='{name}']")

    for row, name, value in ((0, "firmware", "2-4-0"), (1, "model", "Zelor H-8"),
                             (1, "dongleModel", "Zelor D-1"), (1, "dongleFirmware", "1-0-0")):
        field(row, name).clear()
        field(row, name).send_keys(value)
    name = driver.find_element(By.ID, "document-name")
    name.clear()
    name.send_keys(document_name)
    paste(driver, driver.find_element(By.ID, "document-input"), document)
    driver.find_element(By.ID, "check-button").click()
    status = wait_for_result(driver, 60)
    check(status.startswith("Checked in"), f"edited accessories: status {status!r}")
    for old in downloads.iterdir():
        old.unlink()
    driver.find_element(By.ID, "download-button").click()
    target = downloads / "office.plan.json"
    deadline = time.time() + 20
    while not target.exists() and time.time() < deadline:
        time.sleep(0.1)
    time.sleep(0.2)
    downloaded = target.read_text(encoding="utf-8") if target.exists() else None
    check(downloaded == expected_json,
          "edited accessories: the plan equals korrin-host's for the edited descriptions")
    firmware = [s.text for s in driver.find_elements(By.CSS_SELECTOR, "#plans .firmware")]
    wanted = [json.loads(expected_json)["accessories"][i]["firmware"]["action"] for i in (0, 1)]
    check(len(firmware) == 2 and wanted[0] == "nothing" and firmware[0].startswith("nothing"),
          f"edited accessories: firmware shown {firmware} for {wanted}")


def download_plan(driver, downloads, file_name):
    for old in downloads.iterdir():
        old.unlink()
    driver.find_element(By.ID, "download-button").click()
    target = downloads / file_name
    deadline = time.time() + 20
    while not target.exists() and time.time() < deadline:
        time.sleep(0.1)
    time.sleep(0.2)
    return target.read_bytes() if target.exists() else None


def check_previous_document(driver, base, korrin_host, downloads):
    """A previous document: each accessory's plan shows what changes, as
    korrin-host plan --previous reports it."""
    documents = EXAMPLES / "documents"
    expected_json = korrin_host_plan(korrin_host, "office.json", EXAMPLES / "accessories.json",
                                     documents, ("--previous", "headset_fleet.json"))
    report = json.loads(expected_json)

    driver.get(base)
    name = driver.find_element(By.ID, "document-name")
    name.clear()
    name.send_keys("office.json")
    paste(driver, driver.find_element(By.ID, "document-input"),
          (documents / "office.json").read_text(encoding="utf-8"))
    driver.find_element(By.CSS_SELECTOR, "#previous-block summary").click()
    previous_name = driver.find_element(By.ID, "previous-name")
    previous_name.clear()
    previous_name.send_keys("headset_fleet.json")
    paste(driver, driver.find_element(By.ID, "previous-input"),
          (documents / "headset_fleet.json").read_text(encoding="utf-8"))
    driver.find_element(By.ID, "check-button").click()
    status = wait_for_result(driver, 60)
    check(status.startswith("Checked in"), f"previous document: status {status!r}")
    sections = driver.find_elements(By.CSS_SELECTOR, "#plans section.plan")
    for section, plan in zip(sections, report["accessories"]):
        changes = plan["changes"]
        rows = [[cell.text for cell in row.find_elements(By.TAG_NAME, "td")]
                for row in section.find_elements(By.CSS_SELECTOR, "table.changes tr")[1:]]
        wanted = [[c["change"], str(c["usageId"]), c["key"]] for c in changes["settings"]]
        check([row[:3] for row in rows] == wanted,
              f"previous document {plan['id']}: changes shown {rows}")
        title = section.find_element(By.CSS_SELECTOR, ".changes-title").text
        check(title == "Changes from the previous document in the settings sent to the device "
              f"({len(changes['settings'])})", f"previous document {plan['id']}: title {title!r}")
        shown = section.find_elements(By.CSS_SELECTOR, ".firmware-change")
        check(len(shown) == (1 if changes["firmware"] else 0),
              f"previous document {plan['id']}: firmware change shown when it changes")
    check(download_plan(driver, downloads, "office.plan.json") == expected_json.encode(),
          "previous document: the downloaded plan equals korrin-host plan --previous")


def check_stamp(driver, base, korrin_host, downloads):
    """A version stamp typed in its field (no other step): each plan says
    whether a configure request with that stamp configures the accessory
    again, as korrin-host plan --previous-time answers it."""
    documents = EXAMPLES / "documents"
    for stamp in ("x-1730000000", "x-1700000000"):
        expected_json = korrin_host_plan(korrin_host, "office.json", EXAMPLES / "accessories.json",
                                         documents, ("--previous-time", stamp))
        report = json.loads(expected_json)
        driver.get(base)
        stamp_field = driver.find_element(By.ID, "previous-time")
        check(stamp_field.is_displayed(), "stamp: the stamp field is shown without opening a section")
        name = driver.find_element(By.ID, "document-name")
        name.clear()
        name.send_keys("office.json")
        paste(driver, driver.find_element(By.ID, "document-input"),
              (documents / "office.json").read_text(encoding="utf-8"))
        stamp_field.send_keys(stamp)
        driver.find_element(By.ID, "check-button").click()
        status = wait_for_result(driver, 60)
        check(status.startswith("Checked in"), f"stamp {stamp}: status {status!r}")
        shown = [s.text for s in driver.find_elements(By.CSS_SELECTOR, "#plans .configure-required")]
        answers = {True: "yes", False: "no",
                   None: "no answer (the library made no configuration for this accessory)"}
        wanted = [f"configured again for stamp {stamp}: {answers[p['configureRequired']]}"
                  for p in report["accessories"]]
        check(shown == wanted, f"stamp {stamp}: answers shown {shown} == {wanted}")
        check(download_plan(driver, downloads, "office.plan.json") == expected_json.encode(),
              f"stamp {stamp}: the downloaded plan equals korrin-host plan --previous-time")
    answers_yes_no = {json.loads(korrin_host_plan(
        korrin_host, "office.json", EXAMPLES / "accessories.json", documents,
        ("--previous-time", s)))["accessories"][0]["configureRequired"]
        for s in ("x-1730000000", "x-1700000000")}
    check(answers_yes_no == {True, False},
          "stamp: the document's own time and an older one get different answers")


STALE = ("The document or accessories changed: check again. "
         "The results below are for the last check.")
NO_ACCESSORY = ("Check is disabled: there is no accessory to plan for. "
                "Add a preset or a new accessory.")


def check_stale(driver, base):
    """Results shown, then the document or an accessory edited: the page
    says the results are out of date until the next check; with every
    accessory removed it says why Check is disabled."""
    driver.get(base)
    paste(driver, driver.find_element(By.ID, "document-input"),
          (EXAMPLES / "documents" / "office.json").read_text(encoding="utf-8"))
    stale = driver.find_element(By.ID, "stale")
    check(not stale.is_displayed(), "stale: no banner before the first check")
    driver.find_element(By.ID, "check-button").click()
    wait_for_result(driver, 60)
    check(not stale.is_displayed(), "stale: no banner after the check")
    driver.find_element(By.ID, "document-input").send_keys(" ")
    check(stale.is_displayed() and stale.text == STALE,
          f"stale: after editing the document the banner says {stale.text!r}")
    driver.find_element(By.ID, "check-button").click()
    WebDriverWait(driver, 60).until(lambda d: not d.find_element(By.ID, "stale").is_displayed())
    check(not stale.is_displayed(), "stale: the next check takes the banner away")
    driver.find_element(By.CSS_SELECTOR, "#accessory-table [data-field='firmware']").send_keys("1")
    check(stale.is_displayed() and stale.text == STALE,
          "stale: after editing an accessory the banner is back")
    hint = driver.find_element(By.ID, "check-hint")
    check(not hint.is_displayed(), "stale: no hint about Check while accessories are listed")
    while driver.find_elements(By.CSS_SELECTOR, "#accessory-table tbody button"):
        driver.find_elements(By.CSS_SELECTOR, "#accessory-table tbody button")[0].click()
    check(not driver.find_element(By.ID, "check-button").is_enabled()
          and hint.is_displayed() and hint.text == NO_ACCESSORY,
          f"stale: with no accessory Check is disabled and the page says {hint.text!r}")


def check_refused_accessories(driver, base):
    """Two accessories with one id: the page names the problem as
    korrin-host does and shows no plan."""
    driver.get(base)
    second_id = driver.find_elements(By.CSS_SELECTOR, "#accessory-table [data-field='id']")[1]
    second_id.clear()
    second_id.send_keys("hs-desk-01")
    paste(driver, driver.find_element(By.ID, "document-input"), "{}")
    driver.find_element(By.ID, "check-button").click()
    WebDriverWait(driver, 30).until(
        lambda d: "error" in d.find_element(By.ID, "status").get_attribute("class"))
    status = driver.find_element(By.ID, "status").text
    check(status == 'Accessory form, row 2: "id" hs-desk-01 is used twice'
          and not driver.find_element(By.ID, "results").is_displayed(),
          f"refused accessories: status {status!r} and no plan shown")


def check_accessory_form(driver, base):
    """Adding a preset already listed names the copy anew and says so;
    a new accessory's id is selected, so that typing replaces it."""
    driver.get(base)
    # At 1024 px every preset's values fit their boxes (the table may scroll
    # sideways, but no model, serial or dock name is cut).
    driver.set_window_size(1024, 768)
    cut = driver.execute_script(
        "return Array.from(document.querySelectorAll('#accessory-table input'))"
        ".filter(i => i.scrollWidth > i.clientWidth)"
        ".map(i => i.dataset.field + '=' + i.value);")
    driver.set_window_size(1400, 1000)
    check(cut == [], f"accessory form: at 1024 px these values are cut: {cut}")
    rows = driver.find_elements(By.CSS_SELECTOR, "#accessory-table tbody tr")
    driver.find_element(By.ID, "preset-add").click()
    ids = [i.get_property("value") for i in
           driver.find_elements(By.CSS_SELECTOR, "#accessory-table [data-field='id']")]
    first = ids[0]
    check(len(ids) == len(rows) + 1 and ids[-1] == f"{first}-2" and len(set(ids)) == len(ids),
          f"accessory form: the preset added again is named {ids[-1]!r}")
    notes = [n.text for n in driver.find_elements(By.CSS_SELECTOR, "#accessory-table tr.row-note")]
    check(notes == [f"{first} is already listed: this copy is named {first}-2."],
          f"accessory form: the note next to the row {notes}")
    driver.find_element(By.ID, "accessory-new").click()
    driver.switch_to.active_element.send_keys("my-headset")
    ids = [i.get_property("value") for i in
           driver.find_elements(By.CSS_SELECTOR, "#accessory-table [data-field='id']")]
    check(ids[-1] == "my-headset", f"accessory form: typing replaces the new id ({ids[-1]!r})")


def check_example_menu(driver, base):
    """Loading an example over a typed document asks first: dismissed,
    the typed document stays; accepted, the example replaces it."""
    driver.get(base)
    paste(driver, driver.find_element(By.ID, "document-input"), '{"typed": true}')
    options = driver.find_elements(By.CSS_SELECTOR, "#example-select option")
    name = options[1].get_attribute("value")
    options[1].click()
    alert = WebDriverWait(driver, 5).until(lambda d: d.switch_to.alert)
    asked = alert.text
    alert.dismiss()
    check(asked == f"Replace the document in the text area by the example {name}?"
          and driver.find_element(By.ID, "document-input").get_property("value")
          == '{"typed": true}', f"example menu: asked {asked!r}, the typed document kept")
    driver.find_elements(By.CSS_SELECTOR, "#example-select option")[1].click()
    WebDriverWait(driver, 5).until(lambda d: d.switch_to.alert).accept()
    check(driver.find_element(By.ID, "document-name").get_property("value") == name,
          f"example menu: accepted, the example {name} replaces the typed document")


def check_file_bytes(driver, base, korrin_host, downloads, work):
    """A document opened from a file reaches the checker byte for byte:
    a value with an invalid UTF-8 byte is planned, and downloaded, as
    korrin-host plans it."""
    document = (EXAMPLES / "documents" / "office.json").read_bytes()
    document = document.replace(b'"value": "on"', b'"value": "o\xe7n"', 1)
    document_file = work / "latin1.json"
    document_file.write_bytes(document)
    expected = subprocess.run(
        [korrin_host, "plan", "--document", "latin1.json", "--fleet",
         str(EXAMPLES / "accessories.json"), "--format", "json"],
        cwd=work, capture_output=True, check=False).stdout
    check(b'"o\xef\xbf\xbdn"' in expected,
          "latin1.json: korrin-host's plan carries the byte as U+FFFD")

    driver.get(base)
    driver.find_element(By.ID, "document-file").send_keys(str(document_file))
    WebDriverWait(driver, 10).until(
        lambda d: d.find_element(By.ID, "document-name").get_property("value") == "latin1.json")
    driver.find_element(By.ID, "check-button").click()
    status = wait_for_result(driver, 60)
    check(status.startswith("Checked in"), f"latin1.json: status {status!r}")
    for old in downloads.iterdir():
        old.unlink()
    driver.find_element(By.ID, "download-button").click()
    target = downloads / "latin1.plan.json"
    deadline = time.time() + 20
    while not target.exists() and time.time() < deadline:
        time.sleep(0.1)
    time.sleep(0.2)
    downloaded = target.read_bytes() if target.exists() else None
    check(downloaded == expected,
          "latin1.json: the downloaded plan equals korrin-host's byte for byte")


def check_large_document(driver, base, korrin_host, work):
    """100,000 settings: the page answers while the worker plans, shows
    its progress, and then shows the plan of each accessory."""
    settings = ",\n".join(
        f'      {{"name": "setting{i}", "usageId": {i + 100}, "value": "v{i}", "access": "Admin"}}'
        for i in range(100000))
    # One model group with one setting for both accessories (a "Zelor H-5"
    # and a "Zelor H-5 Pro"), so that they take the document and are sent
    # every setting.
    group = ('    "modelSpecificSettings": [\n      {"models": ["Zelor H-5"], "modelFirmware": '
             '[{"firmwareName": "h5.bin", "firmwareVersion": "Current", "firmwareParams": '
             '[{"name": "modelSetting", "usageId": 99, "value": "1", "access": "Admin"}]}]}\n'
             '    ]\n')
    document = ('{\n  "templateConfiguration": {\n    "updatedTime": 1730000000,\n'
                f'    "commonSettings": [\n{settings}\n    ],\n{group}  }}\n}}\n')
    presets = json.loads((EXAMPLES / "accessories.json").read_text(encoding="utf-8"))
    accessories_file = work / "two.json"
    accessories_file.write_text(json.dumps(presets[:2]), encoding="utf-8")
    (work / "large.json").write_text(document, encoding="utf-8")
    expected = json.loads(korrin_host_plan(korrin_host, "large.json", accessories_file, work))

    driver.get(base)
    for _ in range(len(presets) - 2):
        buttons = driver.find_elements(By.CSS_SELECTOR, "#accessory-table tbody button")
        buttons[-1].click()
    check(len(driver.find_elements(By.CSS_SELECTOR, "#accessory-table tbody tr")) == 2,
          "large document: two accessories left in the form")
    name = driver.find_element(By.ID, "document-name")
    name.clear()
    name.send_keys("large.json")
    driver.execute_script("const area = document.getElementById('document-input');"
                          "area.value = arguments[0];"
                          "area.dispatchEvent(new Event('input'));", document)
    started = time.time()
    driver.find_element(By.ID, "check-button").click()
    statuses = set()
    slowest = 0.0
    slowest_status = ""
    while True:
        asked = time.time()
        status = driver.execute_script("return document.getElementById('status').textContent;")
        if time.time() - asked > slowest:
            slowest = time.time() - asked
            slowest_status = status
        statuses.add(status)
        if status.startswith(("Checked in", "The checker")) or time.time() - started > 300:
            break
        time.sleep(0.05)
    elapsed = time.time() - started
    print(f"large document: checked in {elapsed:.1f} s; slowest page answer "
          f"{slowest * 1000:.0f} ms (answering {slowest_status!r})", flush=True)
    check(status.startswith("Checked in"), f"large document: final status {status!r}")
    check(any(s.startswith("Planning") for s in statuses),
          f"large document: progress shown while planning ({sorted(statuses)[:4]})")
    check(slowest < 1.0, f"large document: the page answered within 1 s while planning "
          f"(slowest {slowest * 1000:.0f} ms)")
    sections = driver.find_elements(By.CSS_SELECTOR, "#plans section.plan")
    check(len(sections) == 2, "large document: two plans shown")
    check([plan["outcome"] for plan in expected["accessories"]] == ["taken", "taken"]
          and all(len(plan["settings"]) == 100001 for plan in expected["accessories"]),
          "large document: korrin-host sends both accessories 100,001 settings")
    for section, plan in zip(sections, expected["accessories"]):
        rows = section.find_elements(By.CSS_SELECTOR, "table.settings tr")
        shown = min(len(plan["settings"]), ROW_LIMIT)
        more = 1 if len(plan["settings"]) > ROW_LIMIT else 0
        check(len(rows) == 1 + shown + more,
              f"large document {plan['id']}: {shown} of {len(plan['settings'])} settings shown")


def main():
    if len(sys.argv) != 3:
        print("usage: browser_test.py SITE_DIR KORRIN_HOST", file=sys.stderr)
        return 2
    site = pathlib.Path(sys.argv[1]).resolve()
    korrin_host = str(pathlib.Path(sys.argv[2]).resolve())
    if not (site / "index.html").is_file():
        print(f"browser_test: {site} holds no index.html: run make web first", file=sys.stderr)
        return 2
    server = start_server(site)
    base = f"http://127.0.0.1:{server.server_address[1]}/"
    with tempfile.TemporaryDirectory(prefix="korrin-web-test-") as temp:
        work = pathlib.Path(temp)
        (work / "profile").mkdir()
        (work / "downloads").mkdir()
        driver = start_browser(work / "profile", work / "downloads")
        try:
            for document_name in ("office.json", "template_not_first.json", "truncated.json"):
                check_example(driver, base, korrin_host, work / "downloads", document_name)
            check_edited_accessories(driver, base, korrin_host, work / "downloads", work)
            check_file_bytes(driver, base, korrin_host, work / "downloads", work)
            check_refused_accessories(driver, base)
            check_accessory_form(driver, base)
            check_example_menu(driver, base)
            check_previous_document(driver, base, korrin_host, work / "downloads")
            check_stamp(driver, base, korrin_host, work / "downloads")
            check_stale(driver, base)
            check_large_document(driver, base, korrin_host, work)
            errors = [entry for entry in driver.get_log("browser") if entry["level"] == "SEVERE"]
            check(not errors, f"no console errors ({errors})")
        finally:
            driver.quit()
            server.shutdown()
            server.server_close()
    print(f"{len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
