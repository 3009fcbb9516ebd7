// The browser checker's module gives the plan `korrin-host plan --format
// json` prints, byte for byte: for every example document and every
// document of the checker's golden cases, planned for the example
// accessories, with and without a previous version stamp, and against a
// previous document. For accessories
// the planner refuses, the module's {"error": ...} carries the message
// korrin-host prints before it exits with status 2.
//
//   node --no-experimental-fetch plan_equality.js MODULE_JS KORRIN_HOST SOURCE_DIR
"use strict";

const childProcess = require("child_process");
const fs = require("fs");
const os = require("os");
const path = require("path");

function documentsUnder(directory, accept) {
  if (!fs.existsSync(directory)) return [];
  const found = [];
  for (const entry of fs.readdirSync(directory, { withFileTypes: true })) {
    const full = path.join(directory, entry.name);
    if (entry.isDirectory()) found.push(...documentsUnder(full, accept));
    else if (accept(entry.name)) found.push(full);
  }
  return found.sort();
}

async function main() {
  const [modulePath, korrinHost, sourceDir] = process.argv.slice(2);
  if (!modulePath || !korrinHost || !sourceDir) {
    console.error("usage: plan_equality.js MODULE_JS KORRIN_HOST SOURCE_DIR");
    return 2;
  }
  if (!fs.existsSync(korrinHost)) {
    console.error(`plan_equality: ${korrinHost} does not exist: build korrin-host (dev preset) first`);
    return 2;
  }
  const createKorrinModule = require(path.resolve(modulePath));
  const korrin = await createKorrinModule({ print: () => {}, printErr: () => {} });

  const accessoriesFile = path.join(sourceDir, "examples", "accessories.json");
  const accessories = fs.readFileSync(accessoriesFile, "utf8");
  const documents = [
    ...documentsUnder(path.join(sourceDir, "examples", "documents"), (name) => name.endsWith(".json")),
    ...documentsUnder(path.join(sourceDir, "tests", "data", "check"),
      (name) => name.endsWith(".json") && !/accessor|expected|plan/.test(name)),
  ];
  if (documents.length === 0) {
    console.error("plan_equality: no documents found");
    return 1;
  }

  const previousFile = path.join(sourceDir, "examples", "documents", "headset_fleet.json");
  const previousBytes = fs.readFileSync(previousFile);
  const variants = [
    { previousTime: null, previous: false },
    { previousTime: "x-1700000000", previous: false },
    { previousTime: null, previous: true },
  ];
  let failures = 0;
  let cases = 0;
  for (const documentFile of documents) {
    // The document's bytes as they are: invalid UTF-8 and NUL bytes reach
    // the module unchanged, as they reach korrin-host.
    const documentBytes = fs.readFileSync(documentFile);
    for (const { previousTime, previous } of variants) {
      cases += 1;
      const args = ["plan", "--document", documentFile, "--fleet", accessoriesFile, "--format", "json"];
      if (previousTime !== null) args.push("--previous-time", previousTime);
      if (previous) args.push("--previous", previousFile);
      const run = childProcess.spawnSync(korrinHost, args);
      const label = `${path.relative(sourceDir, documentFile)}` +
        (previousTime === null ? "" : ` --previous-time ${previousTime}`) +
        (previous ? ` --previous ${path.relative(sourceDir, previousFile)}` : "");
      if (run.status !== 0 && run.status !== 1) {
        console.log(`FAILED ${label}: korrin-host exited with ${run.status}: ${run.stderr.toString()}`);
        failures += 1;
        continue;
      }
      const fromPage = Buffer.from(korrin.plan(documentFile, documentBytes, accessoriesFile,
        accessories, previous ? previousFile : "", previous ? previousBytes : "",
        previousTime !== null, previousTime === null ? "" : previousTime));
      if (fromPage.equals(run.stdout)) {
        const exitStatus = JSON.parse(fromPage.toString("utf8")).exitStatus;
        if (exitStatus !== run.status) {
          console.log(`FAILED ${label}: exitStatus ${exitStatus}, korrin-host exited with ${run.status}`);
          failures += 1;
        } else {
          console.log(`ok ${label}`);
        }
        continue;
      }
      failures += 1;
      const expected = run.stdout.toString("latin1").split("\n");
      const actual = fromPage.toString("latin1").split("\n");
      let line = 0;
      while (line < expected.length && expected[line] === actual[line]) line += 1;
      console.log(`FAILED ${label}: first difference at line ${line + 1}`);
      console.log(`  korrin-host: ${expected[line]}`);
      console.log(`  module:      ${actual[line]}`);
    }
  }
  const refused = {
    "empty.json": "[]\n",
    "twice.json": '[{"id": "a", "type": 1}, {"id": "a", "type": 1}]\n',
    "truncated.json": '[{"id": "a"\n',
    "wrong_type.json": '[{"id": 5, "type": 1}]\n',
  };
  const temp = fs.mkdtempSync(path.join(os.tmpdir(), "korrin-web-refused-"));
  const documentFile = path.join(sourceDir, "examples", "documents", "office.json");
  const documentBytes = fs.readFileSync(documentFile);
  for (const [name, content] of Object.entries(refused)) {
    cases += 1;
    const file = path.join(temp, name);
    fs.writeFileSync(file, content);
    const run = childProcess.spawnSync(korrinHost,
      ["plan", "--document", documentFile, "--fleet", file, "--format", "json"], { encoding: "utf8" });
    const fromPage = Buffer.from(korrin.plan(documentFile, documentBytes, file,
      Buffer.from(content), "", "", false, "")).toString("utf8");
    const prefix = "korrin-host plan: ";
    const message = run.stderr.startsWith(prefix) ? run.stderr.slice(prefix.length).trimEnd() : null;
    let error = null;
    try {
      error = JSON.parse(fromPage).error;
    } catch (parseError) {
      error = `(no JSON: ${fromPage})`;
    }
    if (run.status === 2 && run.stdout === "" && message !== null && error === message) {
      console.log(`ok refused accessories ${name}: ${message}`);
    } else {
      failures += 1;
      console.log(`FAILED refused accessories ${name}: korrin-host exited with ${run.status}, ` +
        `stderr ${JSON.stringify(run.stderr)}; module ${JSON.stringify(fromPage)}`);
    }
  }
  fs.rmSync(temp, { recursive: true, force: true });

  console.log(`${cases - failures} of ${cases} cases agree`);
  return failures === 0 ? 0 : 1;
}

main().then((status) => process.exit(status), (error) => {
  console.error(error);
  process.exit(1);
});
