#!/usr/bin/env node
// Reference backend for the Vicinix SDK: serves the SDK's GraphQL contract
// from a JSON data file and exposes /_admin endpoints for tests and demos.

import { fileURLToPath } from 'node:url';
import { dirname, join, resolve } from 'node:path';
import { parseArgs } from 'node:util';
import { loadData } from './src/data.mjs';
import { createBackend } from './src/app.mjs';

const here = dirname(fileURLToPath(import.meta.url));

const USAGE = `usage: node server.mjs [--port N] [--host ADDR] [--data FILE] [--events FILE] [--images DIR]
                      [--pages DIR]

  --port    TCP port, 0 picks a free one (default 4000)
  --host    address to bind (default 127.0.0.1)
  --data    application/campaign data (default ${join(here, 'data', 'sample.json')})
  --events  JSON-lines file that analytics events are appended to
            (default ${join(here, 'var', 'events.jsonl')})
  --images  directory served under /images/ (default ${join(here, 'data', 'images')})
  --pages   directory served under /pages/, the web campaigns' pages
            (default ${join(here, 'data', 'pages')})`;

function fail(message) {
  process.stderr.write(`${message}\n`);
  process.exit(2);
}

let options;
try {
  ({ values: options } = parseArgs({
    options: {
      port: { type: 'string', default: '4000' },
      host: { type: 'string', default: '127.0.0.1' },
      data: { type: 'string', default: join(here, 'data', 'sample.json') },
      events: { type: 'string', default: join(here, 'var', 'events.jsonl') },
      images: { type: 'string', default: join(here, 'data', 'images') },
      pages: { type: 'string', default: join(here, 'data', 'pages') },
      help: { type: 'boolean', short: 'h', default: false },
    },
  }));
} catch (err) {
  fail(`${err.message}\n${USAGE}`);
}
if (options.help) {
  process.stdout.write(`${USAGE}\n`);
  process.exit(0);
}

const port = Number(options.port);
if (!Number.isInteger(port) || port < 0 || port > 65535) fail(`invalid --port: ${options.port}`);

let backend;
try {
  const data = loadData(resolve(options.data));
  backend = createBackend({
    data,
    eventsPath: resolve(options.events),
    imagesDir: resolve(options.images),
    pagesDir: resolve(options.pages),
  });
} catch (err) {
  fail(err.message);
}

backend.server.on('error', (err) => fail(`cannot listen on ${options.host}:${port}: ${err.message}`));
backend.server.listen(port, options.host, () => {
  const { address, port: actual } = backend.server.address();
  const host = address.includes(':') ? `[${address}]` : address;
  // Test harnesses read the port from this line, so it is the only thing
  // ever written to stdout; everything else goes to stderr.
  process.stdout.write(`listening on http://${host}:${actual}/graphql\n`);
});

let stopping = false;
function stop(signal) {
  if (stopping) return;
  stopping = true;
  process.stderr.write(`${signal} received, shutting down\n`);
  // A client that keeps a socket open must not keep us alive forever.
  setTimeout(() => process.exit(0), 2000).unref();
  backend.close().then(() => process.exit(0));
}
process.on('SIGTERM', () => stop('SIGTERM'));
process.on('SIGINT', () => stop('SIGINT'));
