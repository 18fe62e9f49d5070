import { readFile } from 'node:fs/promises';
import http from 'node:http';
import { extname, join } from 'node:path';
import { execute, GraphQLError, parse, validate } from 'graphql';
import { applyStatePatch } from './data.mjs';
import { EventSink } from './events.mjs';
import { rootFieldNames, rootValue, schema } from './graphql.mjs';

const BODY_LIMIT = 1024 * 1024;
// Past this much discarded upload we stop being polite and drop the client:
// reading an endless body just to say "413" would let it pin a connection.
const DISCARD_LIMIT = 64 * 1024 * 1024;
// Enough for any integration-test run; a forgotten demo server must not grow
// without bound.
const REQUEST_LOG_LIMIT = 2000;
const FAULT_MODES = new Set(['status500', 'notJson', 'hang', 'close', 'none']);

const IMAGE_TYPES = { '.png': 'image/png', '.jpg': 'image/jpeg', '.jpeg': 'image/jpeg', '.gif': 'image/gif' };
const PAGE_TYPES = { '.html': 'text/html; charset=utf-8', '.css': 'text/css; charset=utf-8' };
// A plain file name and nothing else: the pictures and pages directories
// must not become a way to read the data or events files.
const FILE_NAME = /^[A-Za-z0-9_-][A-Za-z0-9._-]*$/;

const isPlainObject = (v) => v !== null && typeof v === 'object' && !Array.isArray(v);

class HttpError extends Error {
  constructor(status, message) {
    super(message);
    this.status = status;
  }
}

// The client hung up before its body arrived: nobody is left to answer.
class ClientGone extends Error {}

function readBody(req) {
  return new Promise((resolve, reject) => {
    if (req.refuseBody) return reject(new HttpError(413, `Request body larger than ${BODY_LIMIT} bytes`));
    const declared = Number(req.headers['content-length']);
    const chunks = [];
    let size = 0;
    let tooLarge = Number.isFinite(declared) && declared > BODY_LIMIT;
    req.on('data', (chunk) => {
      size += chunk.length;
      if (size > BODY_LIMIT) tooLarge = true;
      if (size > DISCARD_LIMIT) {
        req.socket.destroy();
        return;
      }
      if (!tooLarge) chunks.push(chunk);
    });
    req.on('end', () => {
      if (tooLarge) reject(new HttpError(413, `Request body larger than ${BODY_LIMIT} bytes`));
      else resolve(Buffer.concat(chunks).toString('utf8'));
    });
    const gone = () => reject(new ClientGone('client went away'));
    req.on('error', gone);
    req.on('close', gone);
  });
}

function send(res, status, body, contentType = 'application/json; charset=utf-8', headers = {}) {
  if (res.destroyed || res.headersSent) return;
  const payload = typeof body === 'string' || Buffer.isBuffer(body) ? body : JSON.stringify(body);
  res.writeHead(status, {
    'content-type': contentType,
    'content-length': Buffer.byteLength(payload),
    ...headers,
  });
  res.end(payload);
}

const errorBody = (message) => ({ errors: [{ message }] });

// Turns an HTTP body into either a ready-to-run GraphQL request or the reply
// that explains why it can't run. Kept free of I/O so fault injection can
// decide afterwards whether the reply is actually sent.
function analyse(text, entry) {
  let body;
  try {
    body = JSON.parse(text);
  } catch (err) {
    throw new HttpError(400, `Request body is not valid JSON: ${err.message}`);
  }
  if (!isPlainObject(body) || typeof body.query !== 'string') {
    throw new HttpError(400, 'Request body must be a JSON object with a string "query"');
  }
  entry.query = body.query;
  const { variables = null, operationName = null } = body;
  if (variables !== null && !isPlainObject(variables)) {
    throw new HttpError(400, '"variables" must be a JSON object when present');
  }
  if (operationName !== null && typeof operationName !== 'string') {
    throw new HttpError(400, '"operationName" must be a string when present');
  }

  let document;
  try {
    document = parse(body.query);
  } catch (err) {
    if (!(err instanceof GraphQLError)) throw err;
    entry.errors = [err.message];
    return { reply: { errors: [err] } };
  }
  entry.operation = rootFieldNames(document, operationName).join(',') || null;
  const errors = validate(schema, document);
  if (errors.length > 0) {
    entry.errors = errors.map((e) => e.message);
    return { reply: { errors } };
  }
  return { document, variables, operationName };
}

export function createBackend({ data, eventsPath, imagesDir, pagesDir, log = (line) => process.stderr.write(line + '\n') }) {
  const initialState = structuredClone(data);
  let state = structuredClone(data);
  const events = new EventSink(eventsPath);
  let requests = [];
  let fault = { mode: 'none', remaining: null };

  const faultView = () => ({ mode: fault.mode, remaining: fault.remaining });

  function takeFault() {
    if (fault.mode === 'none') return null;
    const mode = fault.mode;
    if (fault.remaining !== null && --fault.remaining <= 0) fault = { mode: 'none', remaining: null };
    return mode;
  }

  function logLine(req, path, operation, outcome) {
    log(`${new Date().toISOString()} ${req.method} ${path} ${operation ?? '-'} ${outcome}`);
  }

  async function handleGraphql(req, res, path) {
    const entry = {
      at: new Date().toISOString(),
      headers: { ...req.headers },
      query: null,
      operation: null,
      errors: [],
      status: null,
    };
    requests.push(entry);
    if (requests.length > REQUEST_LOG_LIMIT) requests.splice(0, requests.length - REQUEST_LOG_LIMIT);

    // Logged before refusing: an SDK that talks GET is exactly what the
    // request log is there to reveal.
    if (req.method !== 'POST') {
      entry.status = 405;
      entry.errors = ['GraphQL requests must be POSTed'];
      req.resume();
      send(res, 405, errorBody(entry.errors[0]), undefined, { allow: 'POST' });
      return logLine(req, path, null, 405);
    }

    let text;
    try {
      text = await readBody(req);
    } catch (err) {
      if (err instanceof ClientGone) return;
      if (!(err instanceof HttpError)) throw err;
      entry.errors = [err.message];
      entry.status = err.status;
      send(res, err.status, errorBody(err.message), undefined, { connection: 'close' });
      return logLine(req, path, null, err.status);
    }

    let prepared;
    try {
      prepared = analyse(text, entry);
    } catch (err) {
      if (!(err instanceof HttpError)) throw err;
      prepared = { status: err.status, reply: errorBody(err.message) };
      entry.errors = [err.message];
    }

    const mode = takeFault();
    if (mode) {
      entry.fault = mode;
      if (mode === 'status500') {
        entry.status = 500;
        send(res, 500, 'Internal Server Error (injected fault)\n', 'text/plain; charset=utf-8');
      } else if (mode === 'notJson') {
        // Claims JSON on purpose: a client must not trust the header alone.
        entry.status = 200;
        send(res, 200, 'this is not json');
      } else if (mode === 'close') {
        req.socket.destroy();
      }
      // "hang" sends nothing at all: the socket stays open until the client
      // gives up or shutdown closes every connection.
      return logLine(req, path, entry.operation, entry.status ?? `${mode} (fault)`);
    }

    let status = prepared.status ?? 200;
    let reply = prepared.reply;
    if (!reply) {
      const contextValue = {
        state,
        headers: req.headers,
        origin: originFor(req),
        recordEvents: (records) => events.record(records),
      };
      try {
        reply = await execute({
          schema,
          document: prepared.document,
          rootValue,
          contextValue,
          variableValues: prepared.variables,
          operationName: prepared.operationName,
        });
      } catch (err) {
        status = 500;
        reply = errorBody(`Internal error: ${err.message}`);
      }
      if (reply.errors?.length) entry.executionErrors = reply.errors.map((e) => e.message);
    }
    entry.status = status;
    send(res, status, reply);
    logLine(req, path, entry.operation, status);
  }

  // Picture URLs in the data say {{origin}} so they follow the port a test
  // picked. A wildcard bind has no address a client could use, so there the
  // Host the client itself reached us by stands in.
  function originFor(req) {
    // null once shutdown has stopped listening with requests still in flight
    const { address = '0.0.0.0', port = 80 } = server.address() ?? {};
    const wildcard = address === '0.0.0.0' || address === '::';
    if (wildcard && req.headers.host) return `http://${req.headers.host}`;
    const host = wildcard ? '127.0.0.1' : address.includes(':') ? `[${address}]` : address;
    return `http://${host}:${port}`;
  }

  // One file of `dir` under `prefix`: the campaigns' pictures, and the web
  // pages of the WEB_PAGE campaigns, so the demo needs no outside site.
  async function handleFile(req, res, path, { prefix, dir, types, what }) {
    if (req.method !== 'GET' && req.method !== 'HEAD') {
      throw Object.assign(new HttpError(405, `${req.method} not allowed on ${path}`), { allow: 'GET, HEAD' });
    }
    let name;
    try {
      name = decodeURIComponent(path.slice(prefix.length));
    } catch {
      name = '';
    }
    const type = types[extname(name).toLowerCase()];
    if (!dir || !FILE_NAME.test(name) || name.includes('..') || !type) {
      throw new HttpError(404, `No such ${what}: ${path}`);
    }
    let bytes;
    try {
      bytes = await readFile(join(dir, name));
    } catch {
      throw new HttpError(404, `No such ${what}: ${path}`);
    }
    send(res, 200, bytes, type);
    logLine(req, path, null, 200);
  }

  async function readJsonBody(req, { allowEmpty = false } = {}) {
    const text = await readBody(req);
    if (allowEmpty && text.trim() === '') return {};
    try {
      return JSON.parse(text);
    } catch (err) {
      throw new HttpError(400, `Request body is not valid JSON: ${err.message}`);
    }
  }

  const adminRoutes = {
    '/_admin/requests': {
      GET: () => requests,
    },
    '/_admin/events': {
      GET: () => events.accepted,
    },
    '/_admin/reset': {
      POST: async (req) => {
        await readJsonBody(req, { allowEmpty: true });
        requests = [];
        events.clear();
        fault = { mode: 'none', remaining: null };
        state = structuredClone(initialState);
        return { ok: true };
      },
    },
    '/_admin/state': {
      GET: () => state,
      POST: async (req) => {
        const patch = await readJsonBody(req);
        try {
          state = applyStatePatch(state, patch);
        } catch (err) {
          throw new HttpError(400, err.message);
        }
        return state;
      },
    },
    '/_admin/fault': {
      GET: () => faultView(),
      POST: async (req) => {
        const body = await readJsonBody(req);
        if (!isPlainObject(body) || !FAULT_MODES.has(body.mode)) {
          throw new HttpError(400, `"mode" must be one of: ${[...FAULT_MODES].join(', ')}`);
        }
        const count = body.count ?? null;
        if (count !== null && !(Number.isInteger(count) && count > 0)) {
          throw new HttpError(400, '"count" must be a positive integer when present');
        }
        fault = body.mode === 'none' ? { mode: 'none', remaining: null } : { mode: body.mode, remaining: count };
        return faultView();
      },
    },
  };

  async function handleAdmin(req, res, path) {
    const route = adminRoutes[path];
    if (!route) throw new HttpError(404, `No such endpoint: ${path}`);
    const handler = route[req.method];
    if (!handler) {
      throw Object.assign(new HttpError(405, `${req.method} not allowed on ${path}`), {
        allow: Object.keys(route).join(', '),
      });
    }
    send(res, 200, await handler(req));
    logLine(req, path, null, 200);
  }

  async function route(req, res) {
    let path;
    try {
      path = new URL(req.url, 'http://placeholder').pathname;
    } catch {
      path = req.url;
    }
    if (path.length > 1 && path.endsWith('/')) path = path.slice(0, -1);
    try {
      if (path === '/graphql' || path === '/') {
        return await handleGraphql(req, res, path);
      }
      if (path.startsWith('/_admin/')) return await handleAdmin(req, res, path);
      if (path.startsWith('/images/')) {
        return await handleFile(req, res, path, { prefix: '/images/', dir: imagesDir, types: IMAGE_TYPES, what: 'image' });
      }
      if (path.startsWith('/pages/')) {
        return await handleFile(req, res, path, { prefix: '/pages/', dir: pagesDir, types: PAGE_TYPES, what: 'page' });
      }
      throw new HttpError(404, `No such endpoint: ${path}`);
    } catch (err) {
      if (err instanceof ClientGone) return;
      const status = err instanceof HttpError ? err.status : 500;
      const headers = err.allow ? { allow: err.allow } : {};
      if (status === 413) headers.connection = 'close';
      send(res, status, errorBody(err.message), undefined, headers);
      logLine(req, path, null, status);
      // Swallow the request body we never read so the connection stays usable.
      req.resume();
    }
  }

  const server = http.createServer((req, res) => {
    route(req, res).catch((err) => log(`internal error: ${err.stack ?? err}`));
  });
  // Clients that announce a large upload and wait for "100 Continue" can be
  // refused before they send a single byte of it.
  server.on('checkContinue', (req, res) => {
    if (Number(req.headers['content-length']) > BODY_LIMIT) {
      req.refuseBody = true;
      return server.emit('request', req, res);
    }
    res.writeContinue();
    server.emit('request', req, res);
  });
  server.on('clientError', (err, socket) => {
    if (socket.writable) socket.end('HTTP/1.1 400 Bad Request\r\nconnection: close\r\n\r\n');
    else socket.destroy();
  });

  function close() {
    return new Promise((resolve) => {
      server.close(() => resolve());
      // Includes requests parked by the "hang" fault, which would otherwise
      // keep the process alive forever.
      server.closeAllConnections();
    });
  }

  return { server, close };
}
