// svodb serve's page in Chromium, driven through chromedriver's WebDriver
// protocol (plain HTTP, so no packages beyond Node itself): load, search,
// edit and read back, an out-of-range value refused, diff against the
// defaults, a backup download, a live plot that draws, a flash behind its
// confirmation with its progress bar and its backup.
// Leaves a screenshot of the main view in the output folder.
//
// usage: node panel_browser_test.mjs SVODB FLASH_SAMPLES OUTPUT_DIR
import { spawn, spawnSync } from 'node:child_process';
import { existsSync, mkdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import path from 'node:path';

const [svodb, flashSamples, outputDir] = process.argv.slice(2);
const [chromium, chromedriver] = ['/usr/bin/chromium', '/usr/bin/chromedriver'];
if (!existsSync(chromium) || !existsSync(chromedriver)) {
  console.log(`skipped: ${chromium} or ${chromedriver} is not installed (CI installs chromium and chromium-driver)`);
  process.exit(77);  // ctest's SKIP_RETURN_CODE
}

const children = [];
process.on('exit', () => children.forEach((child) => child.kill()));
let step = 'start';
const fail = (message) => { console.error(`FAILED at ${step}: ${message}`); process.exit(1); };
const check = (ok, message) => ok || fail(message);
// The whole run is bounded: a hung browser or server ends the test.
setTimeout(() => fail('took longer than 150 s'), 150_000).unref();

// Waits for a condition the page reaches by itself (a fetch answered, a
// timer fired); bounded, never a fixed sleep.
async function until(what, probe, timeoutMs = 20_000) {
  const end = Date.now() + timeoutMs;
  for (;;) {
    const value = await probe();
    if (value) return value;
    if (Date.now() > end) fail(`gave up waiting for ${what}`);
    await new Promise((resolve) => setTimeout(resolve, 100));
  }
}

// Starts a program and waits for the line that says where it listens.
function start(program, args, env, pattern) {
  const child = spawn(program, args, { env: { ...process.env, ...env }, stdio: ['ignore', 'pipe', 'inherit'] });
  children.push(child);
  let output = '';
  return new Promise((resolve) => child.stdout.on('data', (data) => {
    const match = pattern.exec(output += data);
    if (match) resolve(match);
  }));
}

async function startServe() {
  const state = path.join(outputDir, 'drive.state');
  rmSync(state, { force: true });
  const [url, base, token] = await start(svodb, ['serve', '--port', '0', '--for', '160'],
    { SVODB_SIM_STATE: state, XDG_STATE_HOME: path.join(outputDir, 'state') },
    /(http:\/\/127\.0\.0\.1:\d+)\/\?token=([0-9a-f]{32})/);
  return { url, base, token };
}

async function webdriver(port, method, route, body) {
  const response = await fetch(`http://127.0.0.1:${port}${route}`, {
    method, headers: { 'Content-Type': 'application/json' }, body: body && JSON.stringify(body),
  });
  const json = await response.json();
  if (!response.ok) fail(`${method} ${route}: ${JSON.stringify(json.value).slice(0, 300)}`);
  return json.value;
}

async function startBrowser(downloads) {
  const [, port] = await start(chromedriver, ['--port=0'], {}, /started successfully on port (\d+)/);
  const args = ['--headless=new', '--no-sandbox', '--disable-gpu', '--window-size=1400,1000'];
  const prefs = { 'download.default_directory': downloads, 'download.prompt_for_download': false };
  const session = await webdriver(port, 'POST', '/session',
    { capabilities: { alwaysMatch: { 'goog:chromeOptions': { binary: chromium, args, prefs } } } });
  const base = `/session/${session.sessionId}`;
  const call = (method, route, body) => webdriver(port, method, base + route, body);
  return {
    open: (url) => call('POST', '/url', { url }),
    run: (script, ...args) => call('POST', '/execute/sync', { script, args }),
    find: async (css) => Object.values(await call('POST', '/element', { using: 'css selector', value: css }))[0],
    click: async function (css) { await call('POST', `/element/${await this.find(css)}/click`, {}); },
    type: async function (css, text) { await call('POST', `/element/${await this.find(css)}/value`, { text }); },
    screenshot: () => call('GET', '/screenshot'),
    quit: () => call('DELETE', ''),
  };
}

const text = (browser, css) => browser.run('return document.querySelector(arguments[0]).textContent', css);

const apiValue = async (serve, name) => (await (await fetch(`${serve.base}/api/variables/${name}`,
  { headers: { 'X-Svodb-Token': serve.token } })).json()).value;

// Sets an editor's value as a user's typing does and leaves the field.
const edit = (browser, name, value) => browser.run(`const e = document.querySelector('.value-edit[data-name="' + arguments[0] + '"]');
  e.value = arguments[1]; e.dispatchEvent(new Event('change'));`, name, value);

async function main() {
  const [downloads, samples] = ['downloads', 'flash'].map((name) => path.join(outputDir, name));
  [downloads, samples].forEach((folder) => rmSync(folder, { recursive: true, force: true }));
  mkdirSync(downloads, { recursive: true });  // and the output folder
  check(spawnSync(flashSamples, [samples]).status === 0, 'the flash sample files were not generated');

  const serve = await startServe();
  const browser = await startBrowser(downloads);

  step = 'load';
  await browser.open(serve.url);
  await until('the variable table', () => browser.run("return document.querySelectorAll('#variables tr[data-name]').length === 159"));
  await until('the drive identity', async () => (await text(browser, '#identity')).includes('X7102'));
  const groups = await browser.run("return [...document.querySelectorAll('#variables tr.group')].map(r => r.textContent)");
  check(groups.join() === 'User parameters,Manufacturing settings,Status and monitoring', `groups: ${groups}`);
  const cells = (css) => browser.run("return [...document.querySelectorAll(arguments[0])].map(r => [...r.cells].map(c => c.textContent))", css);
  // Units, range, default and availability (KVP follows the motor's feedback device here).
  const table = Object.fromEntries((await cells('#variables tr[data-name]')).map((r) => [r[0], r.slice(2, 6).join('|')]));
  check(table.KVP === 'Arms/rad/sec|0.002 … 126.278|0.032|disabled' && table.AFBSrc === '|0 … 1|0|not available on this model',
    `rows: ${table.KVP}; ${table.AFBSrc}`);
  writeFileSync(path.join(outputDir, 'panel.png'), Buffer.from(await browser.screenshot(), 'base64'));

  step = 'search';
  await browser.type('#search', 'kv');
  const shown = await browser.run("return [...document.querySelectorAll('#variables tr[data-name]')].map(r => r.dataset.name)");
  check(shown.includes('KVP') && shown.length <= 10 && shown.every((n) => /kv/i.test(n)), `rows: ${shown}`);

  step = 'edit and read back';
  await edit(browser, 'KVP', '0.05');
  await until('the stored value', async () => (await text(browser, '#message')) === 'KVP stored 0.05');
  check(await apiValue(serve, 'KVP') === 0.05, 'the drive does not hold 0.05');
  check(await browser.run(`return document.querySelector('.value-edit[data-name="KVP"]').value`) === '0.05', 'field');

  step = 'out of range';
  await browser.run("const s = document.querySelector('#search'); s.value = 'KIP'; s.dispatchEvent(new Event('input'));");
  const before = await apiValue(serve, 'KIP');
  await edit(browser, 'KIP', '1e9');
  const refusal = await text(browser, '#message');
  check(/^KIP: 1e9 is outside .* … .*$/.test(refusal), refusal);
  check(await browser.run(`return document.querySelector('.value-edit[data-name="KIP"]').classList.contains('invalid')`),
    'the field is not marked invalid');
  check(await apiValue(serve, 'KIP') === before, 'KIP changed');

  step = 'diff against defaults';
  await browser.click('#diff-defaults');
  await until('the diff', () => browser.run("return !document.querySelector('#diff').hidden"));
  const kvp = (await cells('#diff tbody tr')).find((r) => r[0] === 'KVP');
  check(kvp && kvp[1] === '0.05 Arms/rad/sec' && kvp[2] === '0.032 Arms/rad/sec', `KVP row: ${kvp}`);
  check(/differ$/.test(await text(browser, '#diff-title')), 'no diff title');

  step = 'backup download';
  await browser.click('#backup');
  const backup = path.join(downloads, 'drive-backup.par');
  await until('the downloaded backup', () => existsSync(backup) && readFileSync(backup, 'utf8').includes('KVP'));

  step = 'live plot';
  await browser.click('#plot-start');
  await until('three samples', () => browser.run("return Number(document.querySelector('#plot').dataset.samples) >= 3"));
  const inked = await browser.run(`const c = document.querySelector('#plot');
    const d = c.getContext('2d').getImageData(0, 0, c.width, c.height).data;
    let n = 0; for (let i = 3; i < d.length; i += 4) n += d[i] > 0; return n;`);
  check(inked >= 100, `the plot drew ${inked} pixels`);

  step = 'flash';
  await browser.run("document.querySelector('#flash-file').hidden = false");
  await browser.type('#flash-file', path.join(samples, 'ABC-DEF004-GH.i00'));
  await until('the confirmation', () => browser.run("return document.querySelector('#confirm').open"));
  await browser.click('#confirm-yes');
  await until('the programmed flash', async () => /^(the flash is|programming the flash)/.test(await text(browser, '#message')), 60_000);
  const [value, max] = await browser.run("const p = document.querySelector('#flash-progress'); return [p.value, p.max]");
  check(value === max && max === 2058, `progress ${value} of ${max}`);
  check((await text(browser, '#message')) === 'the flash is programmed', await text(browser, '#flash-result'));
  check(/put it back with: svodb restore .*-user\.par/.test(await text(browser, '#flash-result')), 'no backup before the flash');

  await browser.quit();
  await fetch(`${serve.base}/api/shutdown`, { method: 'POST', headers: { 'X-Svodb-Token': serve.token } });
  console.log('the panel passed every step in Chromium');
  process.exit(0);
}

main().catch((error) => fail(error.stack));
