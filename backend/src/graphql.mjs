import { readFileSync } from 'node:fs';
import { buildSchema, GraphQLError, Kind } from 'graphql';

const SCHEMA_URL = new URL('../schema.graphql', import.meta.url);

export const schema = buildSchema(readFileSync(SCHEMA_URL, 'utf8'));

export class UnknownApplicationKeyError extends GraphQLError {
  constructor() {
    super('Unknown application key', { extensions: { code: 'UNKNOWN_APPLICATION_KEY' } });
  }
}

// An application without a key is an open demo; one with a key only talks
// to SDKs built for it, exactly like the hosted service does.
function requireKnownKey(ctx) {
  const expected = ctx.state.application?.key;
  if (expected && ctx.headers['application-key'] !== expected) throw new UnknownApplicationKeyError();
}

const ORIGIN = '{{origin}}';

// The data cannot know which port the server got, so its URLs say
// {{origin}}; every string of a campaign, block and attribute is filled in.
function withOrigin(value, origin) {
  if (typeof value === 'string') return value.replaceAll(ORIGIN, origin);
  if (Array.isArray(value)) return value.map((v) => withOrigin(v, origin));
  if (value !== null && typeof value === 'object') {
    return Object.fromEntries(Object.entries(value).map(([k, v]) => [k, withOrigin(v, origin)]));
  }
  return value;
}

// The schema promises non-null lists; hand-edited data often leaves them
// out, and a null there would blank the whole campaign list on the phone.
function presentCampaign(c, origin) {
  return withOrigin(
    {
      ...c,
      blocks: (c.blocks ?? []).map((b) => ({ ...b, attributes: b.attributes ?? [] })),
    },
    origin,
  );
}

// Beacon ids are hex; some scanners report them upper-case.
const sameId = (a, b) => typeof a === 'string' && typeof b === 'string' && a.toLowerCase() === b.toLowerCase();

export const rootValue = {
  sdkApplicationConfig(_args, ctx) {
    requireKnownKey(ctx);
    const app = ctx.state.application;
    return { ...app, namespaces: app.namespaces ?? [] };
  },

  sdkConfig(_args, ctx) {
    requireKnownKey(ctx);
    return ctx.state.sdkConfig ?? {};
  },

  sdkFetchPullNotifications({ beaconNamespace, beaconInstance }, ctx) {
    requireKnownKey(ctx);
    const { campaigns, pullNotifications } = ctx.state;
    const byId = new Map(campaigns.map((c) => [c.id, c]));
    const seen = new Set();
    const out = [];
    for (const rule of pullNotifications) {
      if (!sameId(rule.namespace, beaconNamespace)) continue;
      // A rule without an instance covers every beacon of the namespace,
      // which is how a whole store gets one campaign without listing beacons.
      if (rule.instance != null && !sameId(rule.instance, beaconInstance)) continue;
      for (const id of rule.campaigns) {
        if (seen.has(id) || !byId.has(id)) continue;
        seen.add(id);
        out.push(presentCampaign(byId.get(id), ctx.origin));
      }
    }
    return out;
  },

  sdkFetchCampaigns({ ids }, ctx) {
    requireKnownKey(ctx);
    const byId = new Map(ctx.state.campaigns.map((c) => [c.id, c]));
    // The SDK asks for what it has cached; campaigns deleted since then are
    // simply missing from the answer rather than an error.
    return [...new Set(ids)].filter((id) => byId.has(id)).map((id) => presentCampaign(byId.get(id), ctx.origin));
  },

  sdkCreateLog({ events }, ctx) {
    requireKnownKey(ctx);
    const receivedAt = new Date().toISOString();
    const records = events.map((e) => ({
      ...e,
      receivedAt,
      applicationKey: ctx.headers['application-key'] ?? null,
      deviceId: ctx.headers['device-id'] ?? null,
    }));
    ctx.recordEvents(records);
    return 'OK';
  },
};

// Names of the fields selected at the root of the operation that would run,
// for the request log. Fragments are followed so `{ ...F }` still reports
// what F asks for.
export function rootFieldNames(doc, operationName) {
  const ops = doc.definitions.filter((d) => d.kind === Kind.OPERATION_DEFINITION);
  const op = operationName ? ops.find((o) => o.name?.value === operationName) : ops[0];
  if (!op) return [];
  const fragments = new Map(
    doc.definitions.filter((d) => d.kind === Kind.FRAGMENT_DEFINITION).map((f) => [f.name.value, f]),
  );
  const names = [];
  const visited = new Set();
  const walk = (selectionSet) => {
    for (const sel of selectionSet.selections) {
      if (sel.kind === Kind.FIELD) {
        if (!names.includes(sel.name.value)) names.push(sel.name.value);
      } else if (sel.kind === Kind.INLINE_FRAGMENT) {
        walk(sel.selectionSet);
      } else if (sel.kind === Kind.FRAGMENT_SPREAD && !visited.has(sel.name.value)) {
        visited.add(sel.name.value);
        const frag = fragments.get(sel.name.value);
        if (frag) walk(frag.selectionSet);
      }
    }
  };
  walk(op.selectionSet);
  return names;
}
