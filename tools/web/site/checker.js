// The checker page: gathers the document and the accessories, hands them to
// the worker, and shows the findings, the document with the finding lines,
// the per-accessory plans and the summary.
"use strict";

const $ = (id) => document.getElementById(id);
const presets = Array.isArray(self.KORRIN_PRESETS) ? self.KORRIN_PRESETS : [];
const examples = self.KORRIN_EXAMPLES || {};

const ACCESSORY_DEFAULTS = {
  id: "", type: 1, vendor: "Zelor", model: "", serial: "", firmware: "",
  dockSerial: "", dockModel: "", dongleModel: "", dongleFirmware: "",
  connectionType: "USB", connectionStatus: "connected",
  inventoryReady: true, configReady: true, vendorHeadset: true,
};
// The columns of the accessory form: member of the accessory description.
const FORM_FIELDS = ["id", "type", "model", "serial", "firmware", "dongleModel",
  "dongleFirmware", "dockModel"];

let accessories = [];
// Notes shown under a row of the form (an id changed on adding a preset),
// kept apart from the descriptions sent to the checker.
const rowNotes = new WeakMap();
// The bytes of a document read from a file, as long as its text area is not
// edited: they reach the checker unchanged (invalid UTF-8 included), as the
// file reaches korrin-host. Typed or pasted text is sent as UTF-8.
const fileBytes = new Map();
let lastPlanJson = null;
let lastDocumentName = "document.json";
let documentLines = [];
let flaggedLines = new Set();
let highlightedLine = 0;
let highlightedColumn = 0;
let requestId = 0;
let progressTimer = null;

const worker = new Worker("worker.js");

// ---- inputs ---------------------------------------------------------------

// "1 finding", "2 findings".
function count(number, singular, plural) {
  return `${number} ${number === 1 ? singular : plural || `${singular}s`}`;
}

// A time in seconds since 1970 as a UTC date: "2024-10-27 03:33:20 UTC".
function utcDate(seconds) {
  const date = new Date(Number(seconds) * 1000);
  if (!Number.isFinite(date.getTime())) return "";
  return `${date.toISOString().slice(0, 19).replace("T", " ")} UTC`;
}

function text(tag, content, className) {
  const element = document.createElement(tag);
  if (content !== undefined && content !== null) element.textContent = String(content);
  if (className) element.className = className;
  return element;
}

function fillPresets() {
  const select = $("preset-select");
  presets.forEach((preset, index) => {
    const option = text("option", `${preset.id} (${preset.model})`);
    option.value = String(index);
    select.appendChild(option);
  });
  const exampleSelect = $("example-select");
  Object.keys(examples).sort().forEach((name) => {
    const option = text("option", name);
    option.value = name;
    exampleSelect.appendChild(option);
  });
}

function renderAccessories() {
  const body = $("accessory-table").querySelector("tbody");
  body.replaceChildren();
  accessories.forEach((accessory, index) => {
    const row = document.createElement("tr");
    for (const field of FORM_FIELDS) {
      const cell = document.createElement("td");
      let input;
      if (field === "type") {
        input = document.createElement("select");
        for (const [value, label] of [[1, "headset"], [2, "camera"]]) {
          const option = text("option", label);
          option.value = String(value);
          input.appendChild(option);
        }
        input.value = String(accessory.type);
        input.addEventListener("change", () => { accessory.type = Number(input.value); markStale(); });
      } else {
        input = document.createElement("input");
        input.type = "text";
        input.value = accessory[field] || "";
        input.addEventListener("input", () => { accessory[field] = input.value; markStale(); });
      }
      input.dataset.field = field;
      input.setAttribute("aria-label", `${field} of accessory ${index + 1}`);
      cell.appendChild(input);
      row.appendChild(cell);
    }
    const note = rowNotes.get(accessory);
    if (note) row.title = note;
    const remove = text("button", "Remove");
    remove.type = "button";
    remove.addEventListener("click", () => {
      accessories.splice(index, 1);
      markStale();
      renderAccessories();
    });
    const cell = document.createElement("td");
    cell.appendChild(remove);
    row.appendChild(cell);
    body.appendChild(row);
    if (note) {
      const noteRow = document.createElement("tr");
      noteRow.className = "row-note";
      const noteCell = text("td", note);
      noteCell.colSpan = FORM_FIELDS.length + 1;
      noteRow.appendChild(noteCell);
      body.appendChild(noteRow);
    }
  });
  updateCheckButton();
}

// Check is disabled while a check runs and when no accessory is listed; the
// latter is said next to the button.
let checking = false;
function updateCheckButton() {
  $("check-button").disabled = checking || accessories.length === 0;
  $("check-hint").hidden = accessories.length !== 0;
}

// Shown results no longer match the inputs once the document or the
// accessories change, until the next check.
function markStale() {
  if (!$("results").hidden) $("stale").hidden = false;
}

function addAccessory(description) {
  const accessory = Object.assign({}, ACCESSORY_DEFAULTS, description);
  accessories.push(accessory);
  markStale();
  renderAccessories();
  return accessory;
}

// An id not listed yet: `id` itself, or `id-2`, `id-3`, ...
function freeId(id) {
  const taken = new Set(accessories.map((accessory) => accessory.id));
  if (!taken.has(id)) return id;
  let number = 2;
  while (taken.has(`${id}-${number}`)) number += 1;
  return `${id}-${number}`;
}

// The checker names the accessories it refuses by their place in the
// accessory list it was given; the page gave it the form.
function formError(message) {
  return message
    .replace(/^accessories\.json: accessory (\d+): /, "Accessory form, row $1: ")
    .replace(/^accessories\.json: /, "Accessory form: ");
}

function sameAsPresets() {
  return JSON.stringify(accessories) ===
    JSON.stringify(presets.map((preset) => Object.assign({}, ACCESSORY_DEFAULTS, preset)));
}

function readFileInto(file, textarea, nameInput) {
  const reader = new FileReader();
  reader.onload = () => {
    const bytes = new Uint8Array(reader.result);
    textarea.value = new TextDecoder("utf-8").decode(bytes);
    fileBytes.set(textarea.id, bytes);
    if (nameInput) nameInput.value = file.name;
    markStale();
  };
  reader.readAsArrayBuffer(file);
}

function bytesOf(textarea) {
  return fileBytes.get(textarea.id) || new TextEncoder().encode(textarea.value);
}

function acceptDrops(textarea, nameInput) {
  textarea.addEventListener("input", () => {
    fileBytes.delete(textarea.id);
    markStale();
  });
  textarea.addEventListener("dragover", (event) => {
    event.preventDefault();
    textarea.classList.add("dragover");
  });
  textarea.addEventListener("dragleave", () => textarea.classList.remove("dragover"));
  textarea.addEventListener("drop", (event) => {
    event.preventDefault();
    textarea.classList.remove("dragover");
    const file = event.dataTransfer.files[0];
    if (file) readFileInto(file, textarea, nameInput);
  });
}

// ---- running a check ------------------------------------------------------

function setStatus(message, isError) {
  $("status").textContent = message;
  $("status").classList.toggle("error", Boolean(isError));
}

function check() {
  const documentText = $("document-input").value;
  const previousText = $("previous-input").value;
  const stamp = $("previous-time").value.trim() !== "" ? $("previous-time").value : "";
  lastDocumentName = $("document-name").value.trim() || "document.json";
  requestId += 1;
  const started = performance.now();
  let stage = "Starting";
  clearInterval(progressTimer);
  progressTimer = setInterval(() => {
    setStatus(`${stage}… ${((performance.now() - started) / 1000).toFixed(1)} s`);
  }, 100);
  checking = true;
  updateCheckButton();
  worker.onmessage = (event) => {
    const message = event.data;
    if (message.id !== requestId) return;
    if (message.type === "progress") {
      stage = `${message.text} (step ${message.step} of ${message.steps})`;
      setStatus(`${stage}…`);
    } else if (message.type === "result") {
      clearInterval(progressTimer);
      checking = false;
      updateCheckButton();
      message.view.previousTimeShown = stamp;
      showResult(message.planBytes, message.view, documentText, message.milliseconds);
    } else if (message.type === "error") {
      clearInterval(progressTimer);
      checking = false;
      updateCheckButton();
      setStatus(`The checker failed: ${message.message}`, true);
    }
  };
  worker.postMessage({
    type: "plan",
    id: requestId,
    documentName: lastDocumentName,
    document: bytesOf($("document-input")),
    accessoriesName: "accessories.json",
    accessoriesJson: JSON.stringify(accessories, null, 2),
    previousName: previousText.length > 0 ? ($("previous-name").value.trim() || "previous.json") : "",
    previous: bytesOf($("previous-input")),
    // Typing a stamp is enough to ask the question; an empty field asks nothing.
    previousTimeGiven: $("previous-time").value.trim() !== "",
    previousTime: $("previous-time").value,
  });
}

// ---- results --------------------------------------------------------------

// `view` is the plan as the worker prepared it for showing (lists cut to
// their first rows, with their lengths); `planBytes` is the whole plan, for
// the download.
function showResult(planBytes, view, documentText, milliseconds) {
  if (view.error) {
    setStatus(formError(view.error), true);
    $("results").hidden = true;
    return;
  }
  lastPlanJson = planBytes;
  $("stale").hidden = true;
  flaggedLines = new Set(view.flaggedLines);
  setDocument(documentText);
  renderSummary(view);
  renderFindings(view.findings, view.findingsCount);
  renderPlans(view);
  $("results").hidden = false;
  setStatus(`Checked in ${(milliseconds / 1000).toFixed(2)} s`);
}

function renderSummary(report) {
  const summary = report.summary || {};
  const box = $("summary");
  box.replaceChildren();
  const parts = [
    count(summary.accessories, "accessory", "accessories"),
    `${summary.configured} configured`,
    `${summary.rejected} rejected`,
    `${summary.notConfigured} not configured`,
    summary.downgradesRequested
      ? `${count(summary.upgradesRequested, "firmware request")} ` +
        `(${count(summary.downgradesRequested, "downgrade")})`
      : `${count(summary.upgradesRequested, "upgrade")} requested`,
    `${summary.delegated} delegated`,
    count(summary.findings === undefined ? report.findingsCount : summary.findings, "finding"),
    count(summary.warnings, "library warning"),
  ];
  box.appendChild(text("strong", report.document));
  // The exit status korrin-host would end with is a command-line notion:
  // the page keeps it out of sight (data-exit-status).
  box.appendChild(text("span", `: ${parts.join(", ")}`));
  box.dataset.exitStatus = String(report.exitStatus);
  if (report.previousDocumentReadable === false) {
    box.appendChild(text("p", `note: the previous document ${report.previousDocument} cannot be ` +
      "read as JSON by the library, so every accessory rejected it: the changes show every " +
      "setting of this document as added", "previous-unreadable"));
  }
}

function renderFindings(findings, total) {
  const list = $("findings");
  list.replaceChildren();
  if (findings.length === 0) {
    list.appendChild(text("li", "No findings."));
    return;
  }
  for (const finding of findings) {
    const item = document.createElement("li");
    const where = finding.line > 0
      ? `${lastDocumentName}:${finding.line}:${finding.column || 1}` : lastDocumentName;
    item.appendChild(text("span", where, "where"));
    item.appendChild(text("span", " "));
    item.appendChild(text("span", finding.severity || "note",
      `severity severity-${finding.severity || "note"}`));
    if (finding.code) item.appendChild(text("span", ` [${finding.code}]`, "mono"));
    if (finding.accessory) item.appendChild(text("span", ` ${finding.accessory}:`));
    item.appendChild(text("span", ` ${finding.message}`));
    if (finding.effect) item.appendChild(text("span", ` (${finding.effect})`, "effect"));
    if (finding.line > 0) {
      item.classList.add("has-line");
      item.dataset.line = String(finding.line);
      item.tabIndex = 0;
      const select = () => {
        for (const other of list.querySelectorAll(".selected")) other.classList.remove("selected");
        item.classList.add("selected");
        highlightLine(finding.line, finding.column || 1);
      };
      item.addEventListener("click", select);
      item.addEventListener("keydown", (event) => {
        if (event.key === "Enter" || event.key === " ") {
          event.preventDefault();
          select();
        }
      });
    }
    list.appendChild(item);
  }
  if (total > findings.length) {
    list.appendChild(text("li", `… and ${total - findings.length} more in the plan JSON`, "more"));
  }
}

function limitNote(table, shown, total, columns) {
  if (total <= shown) return;
  const row = document.createElement("tr");
  const cell = text("td", `… and ${total - shown} more in the plan JSON`, "more");
  cell.colSpan = columns;
  row.appendChild(cell);
  table.appendChild(row);
}

function cellRow(table, cells, header) {
  const row = document.createElement("tr");
  for (const cell of cells) row.appendChild(text(header ? "th" : "td", cell));
  table.appendChild(row);
}

function firmwareText(firmware) {
  switch (firmware.action) {
    case "upgrade":
      return `${firmware.downgrade ? "downgrade" : "upgrade"} to ${firmware.version} (${firmware.name})`;
    case "delegate": return "delegated to the host's own driver";
    case "stay": return "stays on the running firmware";
    case "nothing": return firmware.version ? `nothing to do (decided on ${firmware.version})` : "nothing to do";
    case "failure": return "no decision: the document was rejected";
    default: return firmware.action;
  }
}

// The answer to "would a configure request carrying this stamp configure
// the accessory again after this document?".
function configureAgainText(stamp, required) {
  const answer = required === true ? "yes" : required === false ? "no"
    : "no answer (the library made no configuration for this accessory)";
  return `configured again for stamp ${stamp}: ${answer}`;
}

function renderPlans(report) {
  const box = $("plans");
  box.replaceChildren();
  for (const plan of report.accessories || []) {
    const section = text("section", null, "plan");
    section.dataset.accessory = plan.id;
    const title = text("h3", `${plan.id}: ${plan.model}`);
    section.appendChild(title);
    const facts = text("p");
    facts.appendChild(text("span", "outcome ", "label"));
    facts.appendChild(text("strong", plan.outcome, `outcome outcome-${plan.outcome}`));
    if (plan.outcomeDetail) facts.appendChild(text("span", ` (${plan.outcomeDetail})`));
    facts.appendChild(text("br"));
    if (plan.resolvedModel !== plan.model) {
      facts.appendChild(text("span", "resolved model ", "label"));
      facts.appendChild(text("span", plan.resolvedModel, "resolved-model"));
      facts.appendChild(text("span", ` (reported as ${plan.model}: the library treats it as ` +
        `${plan.resolvedModel})`, "label"));
      facts.appendChild(text("br"));
    }
    facts.appendChild(text("span", "template time ", "label"));
    facts.appendChild(text("span", plan.templateTime ? `${plan.templateTime} (${utcDate(plan.templateTime)})`
      : `${plan.templateTime} (none taken)`, "template-time"));
    facts.appendChild(text("br"));
    facts.appendChild(text("span", "firmware ", "label"));
    facts.appendChild(text("span", firmwareText(plan.firmware), "firmware"));
    if (report.previousTimeShown) {
      facts.appendChild(text("br"));
      facts.appendChild(text("span", configureAgainText(report.previousTimeShown,
        plan.configureRequired), "configure-required"));
    }
    section.appendChild(facts);

    section.appendChild(text("div", `Settings sent (${plan.settingsCount})`, "label"));
    if (plan.settingsCount === 0) {
      section.appendChild(text("p", "none", "none"));
    } else {
      const sent = text("table", null, "settings");
      cellRow(sent, ["usage id", "key", "value", "access", "follows user"], true);
      for (const setting of plan.settings) {
        cellRow(sent, [setting.usageId, setting.key,
          setting.sent ? setting.value : "follows the user: not sent",
          setting.access, setting.followUser === null ? "" : String(setting.followUser)]);
      }
      limitNote(sent, plan.settings.length, plan.settingsCount, 5);
      section.appendChild(sent);
    }

    section.appendChild(text("div", `Stored, not sent (${plan.storedNotSentCount})`, "label"));
    if (plan.storedNotSentCount === 0) {
      section.appendChild(text("p", "none", "none"));
    } else {
      const stored = text("table", null, "stored");
      cellRow(stored, ["usage id", "key", "value", "access"], true);
      for (const setting of plan.storedNotSent) {
        cellRow(stored, [setting.usageId, setting.key, setting.value, setting.access]);
      }
      limitNote(stored, plan.storedNotSent.length, plan.storedNotSentCount, 4);
      section.appendChild(stored);
    }
    if (plan.changes) renderChanges(section, plan.changes);
    if (plan.recordsCount > 0) renderRecords(section, plan.records, plan.recordsCount);
    box.appendChild(section);
  }
}

// The library's own records for the accessory (its warnings, e.g.
// "...[QELM-ERR]: ..."), collapsed: the coded findings come first.
function renderRecords(section, records, total) {
  const details = text("details", null, "records");
  details.appendChild(text("summary", `library records (${total})`));
  const list = text("ul");
  for (const record of records) {
    const item = text("li");
    item.appendChild(text("span", record.level, `severity severity-${record.level}`));
    item.appendChild(text("span", ` ${record.text}`));
    list.appendChild(item);
  }
  if (total > records.length) {
    list.appendChild(text("li", `… and ${total - records.length} more in the plan JSON`, "more"));
  }
  details.appendChild(list);
  section.appendChild(details);
}

// What changes for the accessory from the previous document to this one.
function renderChanges(section, changes) {
  const valueText = (value, followsUser) =>
    followsUser === null ? "" : followsUser ? "(follows the user)" : value;
  section.appendChild(text("div", "Changes from the previous document in the settings sent to " +
    `the device (${changes.settingsCount})`, "label changes-title"));
  section.appendChild(text("p", "Only settings sent to the device are compared: a setting stored " +
    "but not sent is not listed here.", "help"));
  if (changes.settingsCount === 0) {
    section.appendChild(text("p", "none", "none"));
  } else {
    const table = text("table", null, "changes");
    cellRow(table, ["change", "usage id", "key", "before", "now"], true);
    for (const change of changes.settings) {
      cellRow(table, [change.change, change.usageId, change.key,
        valueText(change.previousValue, change.previousFollowsUser),
        valueText(change.value, change.followsUser)]);
    }
    limitNote(table, changes.settings.length, changes.settingsCount, 5);
    section.appendChild(table);
  }
  if (changes.firmware) {
    section.appendChild(text("p", `firmware: ${firmwareText(changes.firmware.previous)} → ` +
      `${firmwareText(changes.firmware.current)}`, "firmware-change"));
  }
}

// ---- the document view: only the visible lines are in the page -----------

const LINE_HEIGHT = 18;

function setDocument(documentText) {
  documentLines = documentText.split("\n");
  highlightedLine = 0;
  highlightedColumn = 0;
  $("document-lines").style.height = `${documentLines.length * LINE_HEIGHT}px`;
  $("document-view").scrollTop = 0;
  renderVisibleLines();
}

function renderVisibleLines() {
  const view = $("document-view");
  const first = Math.max(0, Math.floor(view.scrollTop / LINE_HEIGHT) - 20);
  const last = Math.min(documentLines.length, first + Math.ceil(view.clientHeight / LINE_HEIGHT) + 40);
  const container = $("document-lines");
  container.replaceChildren();
  for (let index = first; index < last; index += 1) {
    const number = index + 1;
    const line = text("div", null, "doc-line");
    line.style.top = `${index * LINE_HEIGHT}px`;
    line.dataset.line = String(number);
    if (number === highlightedLine) line.classList.add("highlight");
    if (flaggedLines.has(number)) line.classList.add("flagged");
    line.appendChild(text("span", number, "number"));
    const content = text("span", null, "content");
    const lineText = documentLines[index];
    if (number === highlightedLine && highlightedColumn > 0) {
      // The reported column gets a mark, which the page brings into view.
      const at = Math.min(highlightedColumn - 1, lineText.length);
      content.appendChild(document.createTextNode(lineText.slice(0, at)));
      content.appendChild(text("span", lineText.slice(at, at + 1) || " ", "column-mark"));
      content.appendChild(document.createTextNode(lineText.slice(at + 1)));
    } else {
      content.textContent = lineText;
    }
    line.appendChild(content);
    container.appendChild(line);
  }
}

// Scrolls the document view to the line and, when the line is not in the
// window, the page too; a long line is scrolled sideways to the column.
function highlightLine(number, column) {
  highlightedLine = number;
  highlightedColumn = column || 1;
  const view = $("document-view");
  view.scrollTop = Math.max(0, (number - 1) * LINE_HEIGHT - view.clientHeight / 2);
  renderVisibleLines();
  const line = $("document-lines").querySelector(".doc-line.highlight");
  if (!line) return;
  const mark = line.querySelector(".column-mark");
  view.scrollLeft = 0;
  line.scrollIntoView({ block: "center", inline: "nearest" });
  if (mark) mark.scrollIntoView({ block: "nearest", inline: "nearest" });
  renderVisibleLines();
}

function download() {
  if (lastPlanJson === null) return;
  const base = lastDocumentName.replace(/\.json$/i, "") || "document";
  const link = document.createElement("a");
  link.href = URL.createObjectURL(new Blob([lastPlanJson], { type: "application/json" }));
  link.download = `${base}.plan.json`;
  document.body.appendChild(link);
  link.click();
  link.remove();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}

// ---- wiring ---------------------------------------------------------------

fillPresets();
$("preset-add").addEventListener("click", () => {
  const preset = presets[Number($("preset-select").value)];
  if (!preset) return;
  const id = freeId(preset.id);
  const accessory = Object.assign({}, ACCESSORY_DEFAULTS, preset, { id });
  if (id !== preset.id) {
    rowNotes.set(accessory, `${preset.id} is already listed: this copy is named ${id}.`);
  }
  accessories.push(accessory);
  markStale();
  renderAccessories();
});
$("preset-all").addEventListener("click", () => {
  if (accessories.length > 0 && !sameAsPresets() &&
      !window.confirm("Replace the accessories listed, with your edits, by all the presets?")) {
    return;
  }
  accessories = [];
  presets.forEach((preset) => addAccessory(preset));
});
$("accessory-new").addEventListener("click", () => {
  addAccessory({ id: freeId(`accessory-${accessories.length + 1}`) });
  // The id is selected: typing replaces it.
  const ids = $("accessory-table").querySelectorAll("[data-field='id']");
  const input = ids[ids.length - 1];
  input.focus();
  input.select();
});
$("example-select").addEventListener("change", () => {
  const name = $("example-select").value;
  const current = $("document-input").value;
  const typed = current.trim() !== "" && !Object.values(examples).includes(current);
  if (name && typed && !window.confirm(`Replace the document in the text area by the example ${name}?`)) {
    $("example-select").value = "";
    return;
  }
  if (name && examples[name] !== undefined) {
    $("document-input").value = examples[name];
    fileBytes.delete("document-input");
    $("document-name").value = name;
    markStale();
  }
});
$("document-file").addEventListener("change", (event) => {
  if (event.target.files[0]) readFileInto(event.target.files[0], $("document-input"), $("document-name"));
});
$("previous-file").addEventListener("change", (event) => {
  if (event.target.files[0]) readFileInto(event.target.files[0], $("previous-input"), $("previous-name"));
});
acceptDrops($("document-input"), $("document-name"));
acceptDrops($("previous-input"), $("previous-name"));
for (const id of ["document-name", "previous-name", "previous-time"]) {
  $(id).addEventListener("input", markStale);
}
$("check-button").addEventListener("click", check);
$("download-button").addEventListener("click", download);
$("document-view").addEventListener("scroll", renderVisibleLines);
presets.forEach((preset) => addAccessory(preset));
renderAccessories();
