// Server-side behaviour only. How the SDK's own query texts, events, the
// kill-switch and the fault modes look from a client is exercised by the
// SDK's integration tests against this same server.
import { after, before, beforeEach, describe, it } from 'node:test';
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { existsSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join, relative } from 'node:path';
import { fileURLToPath } from 'node:url';

const backendDir = fileURLToPath(new URL('..', import.meta.url));
const HEADERS = { 'content-type': 'application/json', 'application-key': 'demo-app-key', 'device-id': 'device-123' };
const NS = 'edd1ebeac04e5defa017';
const pullQuery = (ns, inst) => `{sdkFetchPullNotifications(beaconNamespace: "${ns}", beaconInstance: "${inst}") {id}}`;
const logQuery = (type, campaignId = '') =>
  `mutation{sdkCreateLog(events:[{eventType:${type}, timestamp:"2024-03-01T09:15:02.517+0100", beaconNamespace:"${NS}", beaconInstance:"", campaignId:"${campaignId}", hasBluetoothTurnedOn: false, hasInternetConnection: true, hasLocationPermission: false, hasNotificationPermission: false}])}`;

async function startServer(eventsPath) {
  const args = [join(backendDir, 'server.mjs'), '--port', '0', '--data', join(backendDir, 'data', 'sample.json'), '--events', eventsPath];
  const child = spawn(process.execPath, args, { stdio: ['ignore', 'pipe', 'pipe'] });
  let stderr = '';
  child.stderr.on('data', (d) => (stderr += d));
  const exited = new Promise((resolve) => child.once('exit', (code, signal) => resolve({ code, signal })));
  let out = '';
  const firstLine = await new Promise((resolve, reject) => {
    child.stdout.on('data', (d) => (out += d).includes('\n') && resolve(out.split('\n')[0]));
    exited.then(({ code }) => reject(new Error(`server exited with ${code}: ${stderr}`)));
  });
  const port = /^listening on http:\/\/127\.0\.0\.1:(\d+)\/graphql$/.exec(firstLine)?.[1];
  assert.ok(port, `unexpected first line: ${firstLine}`);
  return { child, exited, base: `http://127.0.0.1:${port}`, stderr: () => stderr };
}

describe('backend server', () => {
  let srv, tmp, eventsPath;
  const request = async (path, { method = 'POST', body, headers = HEADERS } = {}) => {
    const res = await fetch(srv.base + path, { method, headers, body: typeof body === 'object' ? JSON.stringify(body) : body });
    return { status: res.status, json: await res.json() };
  };
  const gql = (query, headers) => request('/graphql', { body: { query }, headers });
  const getAdmin = async (path) => (await request(path, { method: 'GET' })).json;
  const eventLines = () => (existsSync(eventsPath) ? readFileSync(eventsPath, 'utf8').split('\n').filter(Boolean).map((l) => JSON.parse(l)) : []);

  before(async () => {
    tmp = mkdtempSync(join(tmpdir(), 'vicinix-backend-'));
    eventsPath = join(tmp, 'nested', 'events.jsonl');
    srv = await startServer(eventsPath);
  });
  after(async () => {
    srv.child.kill('SIGTERM');
    await srv.exited;
    rmSync(tmp, { recursive: true, force: true });
  });
  beforeEach(async () => assert.equal((await request('/_admin/reset', { body: '' })).status, 200));

  it('maps body-level failures to HTTP statuses and keeps serving', async () => {
    const cases = [
      ['not JSON', '/graphql', { body: '{not json' }, 400],
      ['query not a string', '/graphql', { body: { query: 42 } }, 400],
      ['query missing', '/', { body: { variables: {} } }, 400],
      ['variables not an object', '/graphql', { body: { query: '{sdkConfig{requiredIosSdkVersion}}', variables: [1] } }, 400],
      ['oversized', '/graphql', { body: 'x'.repeat(2 * 1024 * 1024) }, 413],
      ['GET on /graphql', '/graphql', { method: 'GET' }, 405],
      ['GET on a POST-only admin route', '/_admin/reset', { method: 'GET' }, 405],
      ['unknown path', '/elsewhere', { method: 'GET' }, 404],
    ];
    for (const [name, path, init, expected] of cases) {
      const { status, json } = await request(path, init);
      assert.equal(status, expected, name);
      assert.equal(typeof json.errors[0].message, 'string', name);
    }
    assert.equal((await gql('{ sdkConfig { requiredIosSdkVersion } }')).status, 200, 'server must survive all of the above');
  });

  it('answers invalid GraphQL with a standard errors reply, logs it and keeps serving', async () => {
    const { status, json } = await gql(pullQuery('ab"cd', '0123456789ab'));
    assert.equal(status, 200);
    assert.equal(json.data, undefined);
    assert.match(json.errors[0].message, /^Syntax Error/);
    assert.equal(json.errors[0].locations[0].line, 1);
    assert.match((await gql('{ sdkConfig { requiredAndroidSdkVersion } }')).json.errors[0].message, /requiredAndroidSdkVersion/);
    assert.deepEqual((await gql(pullQuery(NS, '0123456789ab'))).json.errors, undefined);
    // The SDK's integration tests read an empty list here as "the query validated".
    assert.deepEqual((await getAdmin('/_admin/requests')).map((r) => r.errors.length), [1, 1, 0]);
  });

  it('refuses a wrong application key on every field and stores no event', async () => {
    const wrong = { ...HEADERS, 'application-key': 'someone-else' };
    const { json } = await gql('{ sdkConfig { requiredIosSdkVersion } sdkApplicationConfig { id } }', wrong);
    assert.deepEqual(json.data, { sdkConfig: null, sdkApplicationConfig: null });
    assert.deepEqual(json.errors.map((e) => e.extensions.code), ['UNKNOWN_APPLICATION_KEY', 'UNKNOWN_APPLICATION_KEY']);
    assert.equal((await gql(pullQuery(NS, 'x'), wrong)).json.errors[0].extensions.code, 'UNKNOWN_APPLICATION_KEY');

    assert.deepEqual((await gql(logQuery('APP_STARTED'), wrong)).json.data, { sdkCreateLog: null });
    assert.deepEqual(eventLines(), []);
    assert.deepEqual(await getAdmin('/_admin/events'), []);

    // An application without a key is open to any client.
    const { 'application-key': _, ...keyless } = HEADERS;
    await request('/_admin/state', { body: { application: { key: null } } });
    assert.deepEqual((await gql('{ sdkConfig { requiredIosSdkVersion } }', keyless)).json.errors, undefined);
  });

  it('selects campaigns by beacon rules and by requested ids', async () => {
    const pullIds = async (ns, inst) => (await gql(pullQuery(ns, inst))).json.data.sdkFetchPullNotifications.map((c) => c.id);
    assert.deepEqual(await pullIds(NS, '0123456789ab'), ['c1', 'c2']);
    assert.deepEqual(await pullIds(NS, '0123456789ac'), ['c3']);
    assert.deepEqual(await pullIds('EDD1EBEAC04E5DEFA017', '0123456789AB'), ['c1', 'c2'], 'ids compare case-insensitively');
    assert.deepEqual(await pullIds(NS, 'ffffffffffff'), [], 'namespace alone must not match an instance rule');
    assert.deepEqual(await pullIds('f7826da6bc5b71e0893e', 'anything'), ['c4'], 'a namespace-only rule covers every instance');
    assert.deepEqual(await pullIds('00000000000000000000', '0123456789ab'), []);

    // Requested order, unknown ids dropped, repeats once, inactive campaigns still returned.
    const { json } = await gql('{sdkFetchCampaigns(ids:["c4", "nope", "c3", "c4", ]) {id isActive}}');
    assert.deepEqual(json.data.sdkFetchCampaigns, [{ id: 'c4', isActive: true }, { id: 'c3', isActive: false }]);
  });

  it('appends events to the events file with receipt metadata, kept across reset', async () => {
    const start = eventLines().length;
    const t0 = Date.now();
    await gql(logQuery('PULL_NOTIFICATION', 'c1'));
    await gql(logQuery('APP_CLOSED'), { ...HEADERS, 'device-id': 'device-456' });
    const lines = eventLines().slice(start);
    assert.deepEqual(
      lines.map((e) => [e.eventType, e.campaignId, e.beaconNamespace, e.applicationKey, e.deviceId]),
      [['PULL_NOTIFICATION', 'c1', NS, 'demo-app-key', 'device-123'], ['APP_CLOSED', '', NS, 'demo-app-key', 'device-456']],
    );
    for (const e of lines) assert.ok(Date.parse(e.receivedAt) >= t0 - 1000, `receivedAt ${e.receivedAt}`);
    assert.deepEqual(await getAdmin('/_admin/events'), lines);

    await request('/_admin/reset', { body: '' });
    assert.deepEqual(await getAdmin('/_admin/events'), []);
    assert.equal(eventLines().length, start + 2, 'reset must not truncate the events file');
  });

  it('validates /_admin/state patches atomically and reset restores the data', async () => {
    const original = await getAdmin('/_admin/state');
    const missingCampaign = { pullNotifications: [{ namespace: 'x', campaigns: ['missing'] }] };
    const badKillSwitch = { sdkConfig: { requiredIosSdkVersion: 'yes' } };
    for (const bad of [missingCampaign, { requiredIosSdkVersion: 7, campaigns: 'nope' }, { requiredIosSdkVersion: '7' }, badKillSwitch, { colour: 'red' }, []]) {
      const refused = await request('/_admin/state', { body: bad });
      assert.equal(refused.status, 400, JSON.stringify(bad));
      assert.deepEqual(await getAdmin('/_admin/state'), original, `${JSON.stringify(bad)} must change nothing`);
    }

    const patch = { requiredIosSdkVersion: 7, application: { theme: { primaryColor: '#000000' } } };
    assert.deepEqual((await request('/_admin/state', { body: patch })).json.application.theme, { ...original.application.theme, primaryColor: '#000000' }, 'theme patch merges');
    assert.equal((await gql('{ sdkConfig { requiredIosSdkVersion } }')).json.data.sdkConfig.requiredIosSdkVersion, 7);

    await request('/_admin/reset', { body: '' });
    assert.deepEqual(await getAdmin('/_admin/state'), original);
  });

  it('flips the kill switch at run time through either patch form', async () => {
    for (const patch of [{ requiredIosSdkVersion: 1 }, { sdkConfig: { requiredIosSdkVersion: 1 } }]) {
      await request('/_admin/reset', { body: '' });
      assert.equal((await request('/_admin/state', { body: patch })).status, 200, JSON.stringify(patch));
      assert.deepEqual((await gql('{ sdkConfig { requiredIosSdkVersion }}')).json.data, { sdkConfig: { requiredIosSdkVersion: 1 } }, JSON.stringify(patch));
    }
  });

  it('fills {{origin}} into campaigns and serves every picture they name', async () => {
    const { campaigns } = await getAdmin('/_admin/state');
    const all = `{sdkFetchCampaigns(ids:[${campaigns.map((c) => `"${c.id}"`).join(',')}]) {id notificationImage listImage detailUrl blocks {type attributes {key value}}}}`;
    const fetched = (await gql(all)).json.data.sdkFetchCampaigns;
    assert.equal(fetched.length, campaigns.length);
    assert.doesNotMatch(JSON.stringify(fetched), /\{\{origin\}\}/);

    const pulled = (await gql(`{sdkFetchPullNotifications(beaconNamespace: "${NS}", beaconInstance:"0123456789ab") {notificationImage}}`)).json.data;
    assert.equal(pulled.sdkFetchPullNotifications[0].notificationImage, `${srv.base}/images/spring-notification.png`);

    const pictures = new Set();
    for (const c of fetched) {
      for (const url of [c.notificationImage, c.listImage]) if (url) pictures.add(url);
      for (const b of c.blocks) {
        const key = { IMAGE: 'src', VIDEO: 'featuredImage' }[b.type];
        for (const a of b.attributes) if (a.key === key) pictures.add(a.value);
      }
    }
    const types = new Set();
    for (const url of pictures) {
      assert.ok(url.startsWith(`${srv.base}/images/`), url);
      const res = await fetch(url);
      assert.equal(res.status, 200, url);
      const name = url.slice(url.lastIndexOf('/') + 1);
      const type = name.endsWith('.png') ? 'image/png' : 'image/jpeg';
      assert.equal(res.headers.get('content-type'), type, url);
      assert.deepEqual(Buffer.from(await res.arrayBuffer()), readFileSync(join(backendDir, 'data', 'images', name)), url);
      types.add(type);
    }
    assert.deepEqual([...types].sort(), ['image/jpeg', 'image/png'], 'the sample shows both kinds of picture');

    // The web campaigns' pages come from here too, so the demo works offline.
    const pages = fetched.filter((c) => c.detailUrl);
    assert.ok(pages.length > 0, 'the sample has a web campaign');
    for (const { detailUrl } of pages) {
      assert.ok(detailUrl.startsWith(`${srv.base}/pages/`), detailUrl);
      const res = await fetch(`${detailUrl}&deviceId=d&platform=IOS&sdkVersion=1&applicationKey=k`);
      assert.equal(res.status, 200, detailUrl);
      assert.match(res.headers.get('content-type'), /^text\/html/);
      for (const [, src] of (await res.text()).matchAll(/src="([^"]+)"/g)) {
        assert.equal((await fetch(new URL(src, detailUrl))).status, 200, src);
      }
    }

    // Every occurrence, in any field the data author chose.
    const extra = { id: 'x', type: 'WEB_PAGE', detailUrl: '{{origin}}/a?back={{origin}}/b' };
    await request('/_admin/state', { body: { campaigns: [...campaigns, extra] } });
    const { detailUrl } = (await gql('{sdkFetchCampaigns(ids:["x"]) {detailUrl}}')).json.data.sdkFetchCampaigns[0];
    assert.equal(detailUrl, `${srv.base}/a?back=${srv.base}/b`);
  });

  it('refuses picture names that could leave the pictures directory', async () => {
    // A real picture outside the directory, so only the name check stands
    // between it and the client.
    const outside = join(tmp, 'outside.png');
    writeFileSync(outside, readFileSync(join(backendDir, 'data', 'images', 'spring-notification.png')));
    const upward = relative(join(backendDir, 'data', 'images'), outside);
    const paths = [
      encodeURIComponent(upward),
      encodeURIComponent(upward).replaceAll('.', '%2e'),
      upward.replaceAll('/', '%5C'),
      encodeURIComponent(outside),
      'nested%2Fspring-notification.png',
      'missing.png',
      '%E0%A4%A',
    ];
    for (const path of paths) assert.equal((await fetch(`${srv.base}/images/${path}`)).status, 404, path);
    // The pages are served by the same rule.
    for (const path of paths.slice(0, 2)) assert.equal((await fetch(`${srv.base}/pages/${path}`)).status, 404, path);
    assert.equal((await fetch(`${srv.base}/pages/spring-notification.png`)).status, 404, 'pictures are not pages');
    assert.equal((await fetch(srv.base + '/images/spring-notification.png', { method: 'POST' })).status, 405);
  });
});

describe('server lifecycle', () => {
  it('exits cleanly on SIGTERM while a request is being held', async () => {
    const tmp = mkdtempSync(join(tmpdir(), 'vicinix-backend-'));
    try {
      const srv = await startServer(join(tmp, 'events.jsonl'));
      await fetch(srv.base + '/_admin/fault', { method: 'POST', body: '{"mode":"hang"}' });
      const body = '{"query":"{sdkConfig{requiredIosSdkVersion}}"}';
      const held = fetch(srv.base + '/graphql', { method: 'POST', body }).then(() => 'answered', () => 'dropped');
      while (!/POST \/graphql sdkConfig hang/.test(srv.stderr())) await new Promise((r) => setTimeout(r, 20));
      const t0 = Date.now();
      srv.child.kill('SIGTERM');
      assert.deepEqual(await srv.exited, { code: 0, signal: null });
      assert.ok(Date.now() - t0 < 1500, 'a held socket must not delay shutdown');
      assert.equal(await held, 'dropped');
    } finally {
      rmSync(tmp, { recursive: true, force: true });
    }
  });
});
