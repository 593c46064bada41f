// The three walls around displayed mail, each alone: with the other two taken away, it still holds what it is there for.
import assert from 'node:assert/strict';
import { createServer } from 'node:http';
import { after, before, test } from 'node:test';
import { build } from 'esbuild';
import { fileURLToPath } from 'node:url';
import { hostileMails } from '../hostile.mjs';
import { openContext, stopBrowser, until } from './page.mjs';

let context, probe, bundle;
const reached = [];

/** The page's own modules, for a page of ours to use. */
async function bundled() {
  const source = (name) => JSON.stringify(fileURLToPath(new URL(`../../src/reading/${name}`, import.meta.url)));
  const result = await build({
    stdin: {
      contents: `export * from ${source('sanitize.ts')}; export * from ${source('frameDocument.ts')};`,
      resolveDir: fileURLToPath(new URL('../../', import.meta.url)), loader: 'ts',
    },
    bundle: true, write: false, format: 'iife', globalName: 'reading', logLevel: 'error',
  });
  return result.outputFiles[0].text;
}

before(async () => {
  bundle = await bundled();
  probe = createServer((request, answer) => {
    const path = request.url.split('?')[0];
    if (path !== '/') reached.push(path.slice(1));
    answer.writeHead(200, { 'Content-Type': 'text/html', 'Cache-Control': 'no-store' });
    answer.end(path === '/' ? `<!doctype html><title>Walls</title><script>${bundle}</script>` : '');
  });
  await new Promise((done) => probe.listen(0, '127.0.0.1', done));
  context = await openContext();
});
after(async () => {
  await stopBrowser();
  probe.close();
});

const deeds = () => new Set(reached.filter((each) => each !== 'end' && each !== 'favicon.ico'));

/**
 * What reaches the probe when a mail is shown in a frame of a page that protects nothing by itself. `make` runs in the page
 * and makes the frame's attributes; a mark at the mail's end tells, by way of the page, when all before it was read.
 */
async function reachedBy(page, make, mail) {
  const address = `http://127.0.0.1:${probe.address().port}`;
  await page.goto(`${address}/`);
  reached.length = 0;
  await page.evaluate(
    async ({ html, script }) => {
      const { sandbox, content } = new Function('html', `return (${script})(html)`)(html);
      const frame = document.createElement('iframe');
      if (sandbox !== undefined) frame.setAttribute('sandbox', sandbox);
      const loaded = new Promise((done) => (frame.onload = done));
      frame.srcdoc = content;
      document.body.append(frame);
      await loaded;
      // What the mail has set going has its turn: two frames are drawn, and the network is asked once more behind it.
      await new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)));
      for (let round = 0; round < 3; ++round) await fetch('/end', { method: 'POST' }).catch(() => undefined);
    },
    { html: mail.html(address), script: make.toString() },
  ).catch((error) => {
    if (!/navigation|context was destroyed|Target/i.test(error.message)) throw error;
  });
  return deeds();
}

async function newPage(t) {
  const page = await context.newPage();
  page.setDefaultTimeout(60000);
  page.on('dialog', (dialog) => {
    reached.push('ran');
    void dialog.dismiss();
  });
  t.after(() => page.close());
  return page;
}

test('without any wall every one of these mails does what it is made for', async (t) => {
  const page = await newPage(t);
  for (const mail of hostileMails) {
    await reachedBy(page, (html) => ({ content: html }), mail);
    for (const deed of mail.does) await until(() => deeds().has(deed), `${mail.name}: ${deed}`);
  }
});

test('the page’s sanitizer alone lets none of them run, send or leave; styles are left to the host’s', async (t) => {
  const page = await newPage(t);
  for (const mail of hostileMails) {
    const found = await reachedBy(page, (html) => ({ content: window.reading.forFrame(html) }), mail);
    for (const deed of ['ran', 'sent', 'gone']) assert.ok(!found.has(deed), `${mail.name}: ${deed}`);
  }
});

test('the frame’s sandbox alone lets none of them run, send or leave', async (t) => {
  const page = await newPage(t);
  const makes = [
    (html) => ({ sandbox: window.reading.frameSandbox, content: html }),
    (html) => ({ sandbox: window.reading.selectableSandbox, content: html }),
  ];
  for (const make of makes)
    for (const mail of hostileMails) {
      const found = await reachedBy(page, make, mail);
      for (const deed of ['ran', 'sent', 'gone']) assert.ok(!found.has(deed), `${mail.name}: ${deed}`);
    }
});

test('the content policy alone lets none of them run, load or send', async (t) => {
  const page = await newPage(t);
  const make = (html) => ({
    content: `<!doctype html><meta http-equiv="Content-Security-Policy" content="${window.reading.framePolicy}">${html}`,
  });
  for (const mail of hostileMails) {
    const found = await reachedBy(page, make, mail);
    for (const deed of ['ran', 'load', 'sent']) assert.ok(!found.has(deed), `${mail.name}: ${deed}`);
  }
});

test('a link shows where it leads, also to the keyboard, and a mail can neither hide nor forge that', async (t) => {
  const page = await newPage(t);
  await page.goto(`http://127.0.0.1:${probe.address().port}/`);
  await page.evaluate(() => {
    const frame = document.createElement('iframe');
    frame.style.width = '600px';
    frame.setAttribute('sandbox', window.reading.frameSandbox);
    frame.srcdoc = window.reading.frameDocument(
      `<style>a::after, .qs-real-host { display: none !important } .qs-real-host { font-size: 0 !important }</style>
       <p><a id="plain" href="https://files.example/a">the files</a>
       <a id="false" href="https://evil.example/login">www.bank.example</a>
       <span class="qs-real-host" id="forged">[bank.example]</span>`,
      { plain: false },
    );
    document.body.append(frame);
  });
  const frame = page.frameLocator('iframe');
  const told = (id) =>
    frame.locator(`#${id}`).evaluate((link) => {
      const style = getComputedStyle(link, '::after');
      return [style.content, style.display !== 'none' && style.position];
    });
  assert.equal((await told('plain'))[0], 'none');
  await frame.locator('#plain').hover();
  assert.deepEqual(await told('plain'), ['"files.example — https://files.example/a"', 'fixed']);
  await frame.locator('#false').focus();
  await page.keyboard.press('Shift+Tab');
  await page.keyboard.press('Tab');
  assert.deepEqual(await told('false'), ['"evil.example — https://evil.example/login"', 'fixed']);
  const hint = frame.locator('#false .qs-real-host');
  assert.match(await hint.textContent(), /\[evil\.example\]/);
  assert.deepEqual(await hint.evaluate((each) => [getComputedStyle(each).display, getComputedStyle(each).fontSize]), ['inline-block', '12px']);
  assert.equal(await frame.locator('#forged').getAttribute('class'), '');
});
