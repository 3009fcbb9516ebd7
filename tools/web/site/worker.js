// The checker's Web Worker: loads the WebAssembly module once and plans
// each request away from the page's thread, so that the page stays
// responsive while a large document is checked.
"use strict";

importScripts("korrin-web.js");

let modulePromise = null;

function loadModule() {
  if (modulePromise === null) {
    modulePromise = createKorrinModule({
      locateFile: (file) => file,
      print: () => {},
      printErr: (text) => postMessage({ type: "log", text: String(text) }),
    });
  }
  return modulePromise;
}

function countAccessories(accessoriesJson) {
  try {
    const parsed = JSON.parse(accessoriesJson);
    return Array.isArray(parsed) ? parsed.length : 1;
  } catch (error) {
    return 0;
  }
}

// A document with 100,000 settings makes plans of as many rows per
// accessory. The page shows the first rows of each list (the downloaded JSON
// has them all); cutting them here keeps the parsing of the whole plan off
// the page's thread.
const ROW_LIMIT = 500;

// The coded findings of the report: the document findings (with their line
// and column) and each accessory's findings. The library's own records
// (its warnings) stay with their accessory's plan, shown apart.
function collectFindings(report) {
  const findings = [];
  const add = (finding, accessory) => findings.push(Object.assign({ accessory }, finding));
  for (const finding of report.findings || []) add(finding, null);
  for (const plan of report.accessories || []) {
    for (const finding of plan.findings || []) add(finding, plan.id);
  }
  return findings;
}

// What the page shows of the plan JSON: the report with its long lists cut
// to their first rows, their lengths, and the lines that carry findings.
function makeView(json) {
  const report = JSON.parse(json);
  if (report.error) return { error: report.error };
  const findings = collectFindings(report);
  const flaggedLines = [...new Set(findings.filter((f) => f.line > 0).map((f) => f.line))];
  for (const plan of report.accessories || []) {
    plan.settingsCount = plan.settings.length;
    plan.settings = plan.settings.slice(0, ROW_LIMIT);
    plan.storedNotSentCount = plan.storedNotSent.length;
    plan.storedNotSent = plan.storedNotSent.slice(0, ROW_LIMIT);
    if (plan.changes) {
      plan.changes.settingsCount = plan.changes.settings.length;
      plan.changes.settings = plan.changes.settings.slice(0, ROW_LIMIT);
    }
    const records = (plan.warnings || []).concat(plan.configureRequiredWarnings || []);
    plan.recordsCount = records.length;
    plan.records = records.slice(0, ROW_LIMIT);
    delete plan.routineRecords;
    delete plan.warnings;
    delete plan.configureRequiredWarnings;
    delete plan.findings;
  }
  delete report.findings;
  report.findingsCount = findings.length;
  report.findings = findings.slice(0, ROW_LIMIT);
  report.flaggedLines = flaggedLines;
  return report;
}

onmessage = async (event) => {
  const request = event.data;
  if (request.type !== "plan") return;
  const progress = (text, step, steps) =>
    postMessage({ type: "progress", id: request.id, text, step, steps });
  try {
    progress("Loading the checker", 1, 3);
    const korrin = await loadModule();
    const count = countAccessories(request.accessoriesJson);
    const kilobytes = Math.ceil(request.document.byteLength / 1024);
    progress(`Planning ${kilobytes} KB for ${count} accessor${count === 1 ? "y" : "ies"}`, 2, 3);
    const started = performance.now();
    const planBytes = korrin.plan(
      request.documentName, request.document,
      request.accessoriesName, request.accessoriesJson,
      request.previousName, request.previous,
      request.previousTimeGiven, request.previousTime);
    const elapsed = performance.now() - started;
    progress("Preparing the view", 3, 3);
    // Invalid UTF-8 from the document shows as U+FFFD on the page; the
    // download keeps the plan's bytes.
    const view = makeView(new TextDecoder("utf-8").decode(planBytes));
    postMessage({ type: "result", id: request.id, planBytes, view, milliseconds: elapsed },
      [planBytes.buffer]);
  } catch (error) {
    postMessage({ type: "error", id: request.id, message: String(error && error.message || error) });
  }
};
