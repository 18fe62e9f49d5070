import { appendFileSync, mkdirSync } from 'node:fs';
import { dirname } from 'node:path';

// Analytics events go to a JSON-lines file so they survive restarts and can
// be inspected with grep/jq, and are mirrored in memory so tests can read
// back exactly what arrived since the last reset.
export class EventSink {
  constructor(path) {
    this.path = path;
    this.accepted = [];
    mkdirSync(dirname(path), { recursive: true });
  }

  record(records) {
    if (records.length === 0) return;
    // One synchronous write per mutation keeps a batch's lines together and
    // in arrival order even when several devices report at once.
    appendFileSync(this.path, records.map((r) => JSON.stringify(r) + '\n').join(''));
    this.accepted.push(...records);
  }

  clear() {
    this.accepted = [];
  }
}
