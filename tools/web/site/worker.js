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

onmessage = async (event) => {
  const request = event.data;
  if (request.type !== "plan") return;
  const progress = (text, step, steps) =>
    postMessage({ type: "progress", id: request.id, text, step, steps });
  try {
    progress("Loading the checker", 1, 3);
    const korrin = await loadModule();
    const count = countAccessories(request.accessoriesJson);
    const kilobytes = Math.ceil(request.document.length / 1024);
    progress(`Planning ${kilobytes} KB for ${count} accessor${count === 1 ? "y" : "ies"}`, 2, 3);
    const started = performance.now();
    const json = korrin.plan(
      request.documentName, request.document,
      request.accessoriesName, request.accessoriesJson,
      request.previousName, request.previous,
      request.previousTimeGiven, request.previousTime);
    const elapsed = performance.now() - started;
    progress("Showing the plan", 3, 3);
    postMessage({ type: "result", id: request.id, json, milliseconds: elapsed });
  } catch (error) {
    postMessage({ type: "error", id: request.id, message: String(error && error.message || error) });
  }
};
