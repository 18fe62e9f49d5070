// The backend's whole world: one application, its campaigns and which
// beacons pull which campaigns. Kept as plain JSON so integrators can edit
// the sample by hand and tests can patch it at run time.

import { readFileSync } from 'node:fs';

const isPlainObject = (v) => v !== null && typeof v === 'object' && !Array.isArray(v);

export function loadData(path) {
  let text;
  try {
    text = readFileSync(path, 'utf8');
  } catch (err) {
    throw new Error(`cannot read data file ${path}: ${err.message}`);
  }
  let data;
  try {
    data = JSON.parse(text);
  } catch (err) {
    throw new Error(`data file ${path} is not valid JSON: ${err.message}`);
  }
  const problems = validateData(data);
  if (problems.length > 0) {
    throw new Error(`data file ${path} is unusable:\n  - ${problems.join('\n  - ')}`);
  }
  return data;
}

// Returns human-readable problems instead of throwing on the first one, so
// whoever edits the file can fix everything in one go.
export function validateData(data) {
  const problems = [];
  if (!isPlainObject(data)) return ['top level must be an object'];

  const app = data.application;
  if (!isPlainObject(app)) {
    problems.push('"application" must be an object');
  } else {
    if (app.id === undefined || app.id === null) problems.push('"application.id" is required');
    if (app.key !== undefined && app.key !== null && typeof app.key !== 'string') {
      problems.push('"application.key" must be a string or null');
    }
    if (app.theme !== undefined && app.theme !== null && !isPlainObject(app.theme)) {
      problems.push('"application.theme" must be an object');
    }
    if (app.namespaces !== undefined && !Array.isArray(app.namespaces)) {
      problems.push('"application.namespaces" must be an array');
    }
  }

  if (data.sdkConfig !== undefined && !isPlainObject(data.sdkConfig)) {
    problems.push('"sdkConfig" must be an object');
  } else {
    // GraphQL would turn "1" into 1 but fail the whole query on "yes": the
    // kill switch must be refused here, not discovered on a phone.
    const version = data.sdkConfig?.requiredIosSdkVersion;
    if (version !== undefined && version !== null && !Number.isInteger(version)) {
      problems.push('"sdkConfig.requiredIosSdkVersion" must be an integer or null');
    }
  }

  const campaignIds = new Set();
  if (!Array.isArray(data.campaigns)) {
    problems.push('"campaigns" must be an array');
  } else {
    data.campaigns.forEach((c, i) => {
      if (!isPlainObject(c)) return problems.push(`campaigns[${i}] must be an object`);
      if (typeof c.id !== 'string' || c.id === '') problems.push(`campaigns[${i}].id must be a non-empty string`);
      else if (campaignIds.has(c.id)) problems.push(`campaign id "${c.id}" is used twice`);
      else campaignIds.add(c.id);
      if (typeof c.type !== 'string') problems.push(`campaigns[${i}].type must be a string`);
      if (c.blocks !== undefined && !Array.isArray(c.blocks)) problems.push(`campaigns[${i}].blocks must be an array`);
    });
  }

  if (!Array.isArray(data.pullNotifications)) {
    problems.push('"pullNotifications" must be an array');
  } else {
    data.pullNotifications.forEach((p, i) => {
      if (!isPlainObject(p)) return problems.push(`pullNotifications[${i}] must be an object`);
      if (typeof p.namespace !== 'string') problems.push(`pullNotifications[${i}].namespace must be a string`);
      if (p.instance !== undefined && p.instance !== null && typeof p.instance !== 'string') {
        problems.push(`pullNotifications[${i}].instance must be a string when present`);
      }
      if (!Array.isArray(p.campaigns)) {
        problems.push(`pullNotifications[${i}].campaigns must be an array of campaign ids`);
      } else if (Array.isArray(data.campaigns)) {
        // A typo here would silently show nothing on the phone, which is the
        // hardest kind of demo failure to diagnose.
        for (const id of p.campaigns) {
          if (!campaignIds.has(id)) problems.push(`pullNotifications[${i}] refers to unknown campaign "${id}"`);
        }
      }
    });
  }
  return problems;
}

// Objects merge key by key, everything else (arrays included) replaces:
// patching one theme colour must not wipe the rest of the theme, but a new
// namespace list is meant to be the whole list.
export function deepMerge(target, patch) {
  if (!isPlainObject(target) || !isPlainObject(patch)) return structuredClone(patch);
  const out = { ...target };
  for (const [k, v] of Object.entries(patch)) {
    out[k] = isPlainObject(v) && isPlainObject(target[k]) ? deepMerge(target[k], v) : structuredClone(v);
  }
  return out;
}

const STATE_KEYS = new Set(['application', 'sdkConfig', 'requiredIosSdkVersion', 'campaigns', 'pullNotifications']);

// Produces the next state from an admin patch, or throws with the reasons it
// was refused; the current state is never left half-updated.
export function applyStatePatch(state, patch) {
  if (!isPlainObject(patch)) throw new Error('state patch must be a JSON object');
  const unknown = Object.keys(patch).filter((k) => !STATE_KEYS.has(k));
  if (unknown.length > 0) {
    throw new Error(`unknown state keys: ${unknown.join(', ')} (allowed: ${[...STATE_KEYS].join(', ')})`);
  }
  const next = structuredClone(state);
  if ('application' in patch) {
    if (!isPlainObject(patch.application)) throw new Error('"application" must be an object');
    next.application = deepMerge(next.application, patch.application);
  }
  if ('sdkConfig' in patch) {
    if (!isPlainObject(patch.sdkConfig)) throw new Error('"sdkConfig" must be an object');
    next.sdkConfig = deepMerge(next.sdkConfig ?? {}, patch.sdkConfig);
  }
  if ('requiredIosSdkVersion' in patch) {
    const v = patch.requiredIosSdkVersion;
    if (v !== null && !Number.isInteger(v)) throw new Error('"requiredIosSdkVersion" must be an integer or null');
    next.sdkConfig = { ...(next.sdkConfig ?? {}), requiredIosSdkVersion: v };
  }
  if ('campaigns' in patch) next.campaigns = structuredClone(patch.campaigns);
  if ('pullNotifications' in patch) next.pullNotifications = structuredClone(patch.pullNotifications);

  const problems = validateData(next);
  if (problems.length > 0) throw new Error(problems.join('; '));
  return next;
}
