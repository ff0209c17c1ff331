'use strict';
// Checks the OpenRPC document that the program named by the first argument prints: it must be
// valid under the published OpenRPC meta-schema, and every JSON Schema in it (components, each
// parameter, each result) must compile, its references resolved, with its formats known.
const { execFileSync } = require('child_process');

function fail(message) {
  console.error(`check_openrpc: ${message}`);
  process.exit(1);
}

let Ajv, addFormats, openrpcMetaSchema, jsonSchemaMetaSchema;
try {
  Ajv = require('ajv').default;
  addFormats = require('ajv-formats').default;
  openrpcMetaSchema = require('@open-rpc/meta-schema').openrpcDocument;
  jsonSchemaMetaSchema = require('@json-schema-tools/meta-schema').default;
} catch (error) {
  fail(`the Node packages are not installed in ${__dirname}; run ./run.sh test, or npm ci there (${error.message})`);
}

const program = process.argv[2];
if (!program) fail('usage: node check_openrpc.js <program that prints the document>');
const document = JSON.parse(execFileSync(program, { encoding: 'utf8', maxBuffer: 1 << 30 }));

function report(errors) {
  return errors.slice(0, 5).map((e) => `${e.instancePath || '(document)'} ${e.message}`).join('; ');
}

// Ajv only warns of what it cannot check (an unknown format, say): here that is a fault.
const logger = { log() {}, warn: (message) => fail(message), error: (message) => fail(message) };

// The meta-schema refers to the JSON Schema meta-schema by an address with and without its slash.
const meta = new Ajv({ strict: false, logger });
addFormats(meta);
meta.addMetaSchema(jsonSchemaMetaSchema);
meta.addSchema(jsonSchemaMetaSchema, 'https://meta.json-schema.tools');
const validDocument = meta.compile(openrpcMetaSchema);
if (!validDocument(document)) fail(`the document is not valid OpenRPC: ${report(validDocument.errors)}`);

// The document is added whole under an address of its own, so that "#/components/schemas/..."
// inside any schema resolves against it as it does for a reader of the document.
const base = 'https://nexar.invalid/openrpc.json';
const schemas = new Ajv({ strict: true, logger });
addFormats(schemas);
// Strict mode knows the document's own members only as keywords without meaning.
schemas.addVocabulary(['openrpc', 'info', 'methods', 'components']);
schemas.addSchema({ ...document, $id: base });

let compiled = 0;
function compile(pointer) {
  try {
    schemas.compile({ $ref: `${base}#${pointer}` });
    compiled++;
  } catch (error) {
    fail(`the schema at ${pointer} does not compile: ${error.message}`);
  }
}
const escape = (name) => encodeURIComponent(name.replace(/~/g, '~0').replace(/\//g, '~1'));
for (const name of Object.keys(document.components.schemas || {})) compile(`/components/schemas/${escape(name)}`);
document.methods.forEach((method, m) => {
  method.params.forEach((_, p) => compile(`/methods/${m}/params/${p}/schema`));
  compile(`/methods/${m}/result/schema`);
});
for (const [name, error] of Object.entries(document.components.errors || {})) {
  if (!error.data || !error.data.$ref) fail(`the error ${name} does not point at the schema of its value`);
  compile(error.data.$ref.slice(1));
}

// Values as the encoder writes them must pass, and texts the decoder refuses must not.
const samples = require('./sample_values.json');
const sampleSchemas = JSON.parse(execFileSync(program, ['--sample'], { encoding: 'utf8' }));
const sampleAjv = new Ajv({ strict: true, logger });
addFormats(sampleAjv);
sampleAjv.addVocabulary(['components']);
sampleAjv.addSchema({ ...sampleSchemas, $id: base });
const validSample = sampleAjv.compile({ $ref: `${base}#/components/schemas/${escape(samples.schema)}` });
samples.valid.forEach((value, i) => {
  if (!validSample(value)) fail(`valid sample ${i} is refused: ${report(validSample.errors)}`);
});
samples.invalid.forEach((value, i) => {
  if (validSample(value)) fail(`invalid sample ${i} is accepted: ${JSON.stringify(value)}`);
});

console.log(`check_openrpc: ${document.methods.length} methods, ${compiled} schemas compiled, ` +
            `${Buffer.byteLength(JSON.stringify(document))} bytes`);
