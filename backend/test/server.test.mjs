import { after, before, beforeEach, describe, it } from 'node:test';
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { mkdtempSync, readFileSync, existsSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

const backendDir = fileURLToPath(new URL('..', import.meta.url));
const sampleData = join(backendDir, 'data', 'sample.json');

// The exact texts the SDK sends, including its quirks (commas everywhere,
// trailing ", " inside lists), so a schema change that breaks a shipped SDK
// fails here first.
const CAMPAIGN_FIELDS =
  '{id, type, cooldown, maximumNotificationsPerUser, notificationText, notificationTitle, notificationImage, listImage, listTitle, listText, isActive, detailUrl, inAppEvent, blocks {id, type, attributes {id, key,value}}}';
const SDK = {
  appConfig:
    '{  sdkApplicationConfig {id, name, key, useAppBadges, beaconExpiration, campaignExpiration, requiredSdkVersionExpiration, scaningIntervalOnForeground, dailyNotificationLimit, theme {primaryColor backgroundColor textColor fontSize lineHeight spacing titleColor titleFontSize headingColor headingFontSize buttonTextColor buttonBackground}, namespaces{id, name, ibeaconUuid, eddystoneUid}}}',
  sdkConfig: '{ sdkConfig { requiredIosSdkVersion }}',
  pull: (ns, inst) => `{sdkFetchPullNotifications(beaconNamespace: "${ns}", beaconInstance:"${inst}") ${CAMPAIGN_FIELDS}}`,
  campaigns: (ids) => `{sdkFetchCampaigns(ids:[${ids.map((id) => `"${id}", `).join('')}]) ${CAMPAIGN_FIELDS}}`,
  log: (events) =>
    `mutation{sdkCreateLog(events:[${events
      .map(
        (e) =>
          `{eventType:${e.type}, timestamp:"${e.ts}", beaconNamespace:"${e.ns ?? ''}", beaconInstance:"${e.inst ?? ''}", campaignId:"${e.campaign ?? ''}", hasBluetoothTurnedOn: false, hasInternetConnection: true, hasLocationPermission: false, hasNotificationPermission: false}, `,
      )
      .join('')}])}`,
};

const SDK_HEADERS = {
  'content-type': 'application/json',
  'application-key': 'demo-app-key',
  'device-id': 'device-123',
  'sdk-version': '1',
  'device-vendor': 'Acme',
  'device-model': 'Board 3',
  'device-os': 'Linux 6.1',
  platform: 'linux',
  'has-bluetooth-turned-on': 'true',
  'has-internet-connection': 'true',
  'has-location-permission': 'false',
  'has-notification-permission': 'true',
};

async function startServer(eventsPath) {
  const child = spawn(process.execPath, [join(backendDir, 'server.mjs'), '--port', '0', '--data', sampleData, '--events', eventsPath], {
    stdio: ['ignore', 'pipe', 'pipe'],
  });
  let stderr = '';
  child.stderr.on('data', (d) => (stderr += d));
  const firstLine = await new Promise((resolve, reject) => {
    let out = '';
    child.stdout.on('data', (d) => {
      out += d;
      if (out.includes('\n')) resolve(out.split('\n')[0]);
    });
    child.once('exit', (code) => reject(new Error(`server exited with ${code}: ${stderr}`)));
  });
  const match = /^listening on http:\/\/127\.0\.0\.1:(\d+)\/graphql$/.exec(firstLine);
  assert.ok(match, `unexpected first line: ${firstLine}`);
  const exited = new Promise((resolve) => child.once('exit', (code, signal) => resolve({ code, signal })));
  return { child, exited, base: `http://127.0.0.1:${match[1]}`, stderr: () => stderr };
}

describe('backend server', () => {
  let srv;
  let tmp;
  let eventsPath;

  const post = async (path, body, headers = SDK_HEADERS, init = {}) => {
    const res = await fetch(srv.base + path, {
      method: 'POST',
      headers,
      body: typeof body === 'string' ? body : JSON.stringify(body),
      ...init,
    });
    const text = await res.text();
    let json;
    try {
      json = JSON.parse(text);
    } catch {
      json = undefined;
    }
    return { status: res.status, text, json, contentType: res.headers.get('content-type') };
  };
  const gql = (query, headers) => post('/graphql', { query }, headers);
  const admin = async (path) => (await fetch(srv.base + path)).json();
  const eventLines = () => (existsSync(eventsPath) ? readFileSync(eventsPath, 'utf8').split('\n').filter(Boolean) : []);

  before(async () => {
    tmp = mkdtempSync(join(tmpdir(), 'vicinix-backend-'));
    eventsPath = join(tmp, 'nested', 'events.jsonl');
    srv = await startServer(eventsPath);
  });
  after(async () => {
    srv.child.kill('SIGTERM');
    assert.deepEqual(await srv.exited, { code: 0, signal: null });
    rmSync(tmp, { recursive: true, force: true });
  });
  beforeEach(async () => {
    assert.equal((await post('/_admin/reset', '')).status, 200);
  });

  describe('SDK query texts', () => {
    it('application config carries theme and namespaces', async () => {
      const { status, json } = await gql(SDK.appConfig);
      assert.equal(status, 200);
      assert.equal(json.errors, undefined);
      const app = json.data.sdkApplicationConfig;
      assert.equal(app.key, 'demo-app-key');
      assert.equal(app.scaningIntervalOnForeground, 10);
      assert.equal(Object.keys(app.theme).length, 12);
      assert.equal(typeof app.theme.fontSize, 'number');
      assert.deepEqual(
        app.namespaces.map((n) => n.eddystoneUid),
        ['edd1ebeac04e5defa017', 'f7826da6bc5b71e0893e'],
      );
    });

    it('sdk config exposes the kill-switch version', async () => {
      const { json } = await gql(SDK.sdkConfig);
      assert.deepEqual(json, { data: { sdkConfig: { requiredIosSdkVersion: 0 } } });
    });

    it('pull notifications return full campaigns with blocks', async () => {
      const { json } = await gql(SDK.pull('edd1ebeac04e5defa017', '0123456789ab'));
      assert.equal(json.errors, undefined);
      const [page, web] = json.data.sdkFetchPullNotifications;
      assert.deepEqual([page.id, page.type, web.id, web.type], ['c1', 'PAGE', 'c2', 'WEB_PAGE']);
      assert.ok(page.blocks.length >= 6);
      const image = page.blocks.find((b) => b.type === 'image');
      assert.match(image.attributes.find((a) => a.key === 'url').value, /^http:\/\//);
      assert.deepEqual(web.blocks, []);
      assert.ok(web.detailUrl);
    });

    it('campaign fetch accepts the trailing-comma list', async () => {
      const { json } = await gql(SDK.campaigns(['c1', 'c2']));
      assert.equal(json.errors, undefined);
      assert.deepEqual(json.data.sdkFetchCampaigns.map((c) => c.id), ['c1', 'c2']);
    });

    it('log mutation answers OK', async () => {
      const { json } = await gql(SDK.log([{ type: 'APP_STARTED', ts: '2024-03-01T09:15:02.517+0100' }]));
      assert.deepEqual(json, { data: { sdkCreateLog: 'OK' } });
    });

    it('every SDK text is logged as valid with its headers', async () => {
      for (const q of [SDK.appConfig, SDK.sdkConfig, SDK.pull('a', 'b'), SDK.campaigns(['c1']), SDK.log([{ type: 'APP_CLOSED', ts: 't' }])]) {
        await gql(q);
      }
      const log = await admin('/_admin/requests');
      assert.deepEqual(
        log.map((r) => [r.operation, r.errors, r.status]),
        [
          ['sdkApplicationConfig', [], 200],
          ['sdkConfig', [], 200],
          ['sdkFetchPullNotifications', [], 200],
          ['sdkFetchCampaigns', [], 200],
          ['sdkCreateLog', [], 200],
        ],
      );
      assert.equal(log[0].headers['device-model'], 'Board 3');
      assert.equal(log[1].query, SDK.sdkConfig);
      assert.ok(!Number.isNaN(Date.parse(log[0].at)));
    });
  });

  describe('campaign selection', () => {
    const pullIds = async (ns, inst) => (await gql(SDK.pull(ns, inst))).json.data.sdkFetchPullNotifications.map((c) => c.id);

    it('matches per-instance and namespace-wide rules', async () => {
      assert.deepEqual(await pullIds('edd1ebeac04e5defa017', '0123456789ac'), ['c3']);
      assert.deepEqual(await pullIds('f7826da6bc5b71e0893e', 'anything'), ['c4']);
      assert.deepEqual(await pullIds('EDD1EBEAC04E5DEFA017', '0123456789AB'), ['c1', 'c2']);
      assert.deepEqual(await pullIds('edd1ebeac04e5defa017', 'ffffffffffff'), []);
      assert.deepEqual(await pullIds('00000000000000000000', '0123456789ab'), []);
    });

    it('fetches requested campaigns in order, skipping unknown and repeated ids', async () => {
      const { json } = await gql(SDK.campaigns(['c4', 'nope', 'c3', 'c4']));
      const list = json.data.sdkFetchCampaigns;
      assert.deepEqual(list.map((c) => c.id), ['c4', 'c3']);
      assert.equal(list[1].isActive, false);
    });
  });

  describe('events', () => {
    it('appends one line per event with receipt metadata', async () => {
      const before = eventLines().length;
      await gql(
        SDK.log([
          { type: 'PULL_NOTIFICATION', ts: '2024-03-01T09:15:02.517+0100', ns: 'edd1ebeac04e5defa017', inst: '0123456789ab', campaign: 'c1' },
          { type: 'APP_CLOSED', ts: '2024-03-01T09:20:00.000+0100' },
        ]),
      );
      const lines = eventLines().slice(before).map((l) => JSON.parse(l));
      assert.deepEqual(
        lines.map((e) => [e.eventType, e.campaignId, e.beaconNamespace, e.applicationKey, e.deviceId]),
        [
          ['PULL_NOTIFICATION', 'c1', 'edd1ebeac04e5defa017', 'demo-app-key', 'device-123'],
          ['APP_CLOSED', '', '', 'demo-app-key', 'device-123'],
        ],
      );
      assert.ok(!Number.isNaN(Date.parse(lines[0].receivedAt)));
      assert.deepEqual(await admin('/_admin/events'), lines);

      await post('/_admin/reset', '');
      assert.deepEqual(await admin('/_admin/events'), []);
      assert.equal(eventLines().length, before + 2, 'reset must not truncate the events file');
    });
  });

  describe('bad requests', () => {
    it('answers an unescaped quote with a located syntax error and keeps serving', async () => {
      const query = SDK.pull('ab"cd', '0123456789ab');
      const { status, json } = await gql(query);
      assert.equal(status, 200);
      assert.equal(json.data, undefined);
      assert.match(json.errors[0].message, /^Syntax Error/);
      assert.equal(json.errors[0].locations[0].line, 1);
      const [entry] = await admin('/_admin/requests');
      assert.equal(entry.query, query);
      assert.equal(entry.operation, null);
      assert.equal(entry.errors.length, 1);
      assert.equal((await gql(SDK.sdkConfig)).status, 200);
    });

    it('reports fields the contract does not have', async () => {
      const { json } = await gql('{ sdkConfig { requiredAndroidSdkVersion } }');
      assert.match(json.errors[0].message, /requiredAndroidSdkVersion/);
      const [entry] = await admin('/_admin/requests');
      assert.equal(entry.operation, 'sdkConfig');
      assert.equal(entry.errors.length, 1);
    });

    it('refuses every field when the application key is wrong', async () => {
      const before = eventLines().length;
      const wrong = { ...SDK_HEADERS, 'application-key': 'someone-else' };
      const { json } = await gql(`{ sdkConfig { requiredIosSdkVersion } sdkApplicationConfig { id } }`, wrong);
      assert.deepEqual(json.data, { sdkConfig: null, sdkApplicationConfig: null });
      assert.deepEqual(json.errors.map((e) => e.message), ['Unknown application key', 'Unknown application key']);

      const pulled = await gql(SDK.pull('f7826da6bc5b71e0893e', 'x'), wrong);
      assert.equal(pulled.json.data, null);

      const logged = await gql(SDK.log([{ type: 'APP_STARTED', ts: 't' }]), wrong);
      assert.deepEqual(logged.json.data, { sdkCreateLog: null });
      assert.equal(eventLines().length, before);
      assert.deepEqual(await admin('/_admin/events'), []);

      const { 'application-key': _, ...keyless } = SDK_HEADERS;
      assert.equal((await gql(SDK.sdkConfig, keyless)).json.data.sdkConfig, null);
      await post('/_admin/state', { application: { key: null } });
      assert.equal((await gql(SDK.sdkConfig, keyless)).json.data.sdkConfig.requiredIosSdkVersion, 0);
    });

    it('maps transport-level problems to HTTP statuses', async () => {
      const notJson = await post('/graphql', '{not json');
      assert.equal(notJson.status, 400);
      assert.ok(notJson.json.errors[0].message);
      assert.equal((await post('/graphql', { query: 42 })).status, 400);
      assert.equal((await post('/', { variables: {} })).status, 400);
      assert.equal((await post('/graphql', 'x'.repeat(2 * 1024 * 1024))).status, 413);
      assert.equal((await fetch(srv.base + '/graphql')).status, 405);
      assert.equal((await fetch(srv.base + '/_admin/reset')).status, 405);
      assert.equal((await fetch(srv.base + '/elsewhere')).status, 404);
      assert.equal((await gql(SDK.sdkConfig)).status, 200, 'server must survive all of the above');
      assert.deepEqual((await admin('/_admin/requests')).map((r) => r.status), [400, 400, 400, 413, 405, 200]);
    });
  });

  describe('admin controls', () => {
    it('flips the kill-switch at run time and reset restores it', async () => {
      const patched = await post('/_admin/state', { requiredIosSdkVersion: 7, application: { theme: { primaryColor: '#000000' } } });
      assert.equal(patched.status, 200);
      assert.equal(patched.json.application.theme.textColor, '#1E1E1E', 'theme patch must merge, not replace');
      assert.equal((await gql(SDK.sdkConfig)).json.data.sdkConfig.requiredIosSdkVersion, 7);

      const refused = await post('/_admin/state', { pullNotifications: [{ namespace: 'x', campaigns: ['missing'] }] });
      assert.equal(refused.status, 400);
      assert.match(refused.json.errors[0].message, /missing/);
      assert.equal((await admin('/_admin/state')).pullNotifications.length, 3);

      await post('/_admin/reset', '');
      assert.equal((await gql(SDK.sdkConfig)).json.data.sdkConfig.requiredIosSdkVersion, 0);
    });

    it('injects counted faults, then answers normally again', async () => {
      assert.deepEqual((await post('/_admin/fault', { mode: 'status500', count: 2 })).json, { mode: 'status500', remaining: 2 });
      for (let i = 0; i < 2; i++) {
        const r = await gql(SDK.sdkConfig);
        assert.equal(r.status, 500);
        assert.equal(r.json, undefined);
      }
      await post('/_admin/fault', { mode: 'notJson', count: 1 });
      const notJson = await gql(SDK.sdkConfig);
      assert.deepEqual([notJson.status, notJson.text], [200, 'this is not json']);

      await post('/_admin/fault', { mode: 'close', count: 1 });
      await assert.rejects(gql(SDK.sdkConfig));

      assert.equal((await gql(SDK.sdkConfig)).status, 200);
      assert.deepEqual(
        (await admin('/_admin/requests')).map((r) => [r.fault, r.status]),
        [['status500', 500], ['status500', 500], ['notJson', 200], ['close', null], [undefined, 200]],
      );
      assert.equal((await post('/_admin/fault', { mode: 'bogus' })).status, 400);
    });

    it('holds a hung request until the client gives up', async () => {
      await post('/_admin/fault', { mode: 'hang' });
      await assert.rejects(post('/graphql', { query: SDK.sdkConfig }, SDK_HEADERS, { signal: AbortSignal.timeout(300) }), {
        name: 'TimeoutError',
      });
      const [entry] = await admin('/_admin/requests');
      assert.deepEqual([entry.fault, entry.status, entry.operation], ['hang', null, 'sdkConfig']);
    });
  });
});

describe('server lifecycle', () => {
  it('exits cleanly on SIGTERM while a request is being held', async () => {
    const tmp = mkdtempSync(join(tmpdir(), 'vicinix-backend-'));
    try {
      const srv = await startServer(join(tmp, 'events.jsonl'));
      await fetch(srv.base + '/_admin/fault', { method: 'POST', body: '{"mode":"hang"}' });
      const held = fetch(srv.base + '/graphql', { method: 'POST', body: JSON.stringify({ query: SDK.sdkConfig }) }).then(
        () => 'answered',
        () => 'dropped',
      );
      await new Promise((r) => setTimeout(r, 200));
      const t0 = Date.now();
      srv.child.kill('SIGTERM');
      assert.deepEqual(await srv.exited, { code: 0, signal: null });
      assert.ok(Date.now() - t0 < 1500, 'a held socket must not delay shutdown');
      assert.equal(await held, 'dropped');
      assert.match(srv.stderr(), /POST \/graphql sdkConfig hang/);
    } finally {
      rmSync(tmp, { recursive: true, force: true });
    }
  });
});
