// Files on their way into a message.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { becomes, callsOf, open, startBrowser, stopBrowser, until } from './page.mjs';

before(startBrowser);
after(stopBrowser);

/** Collects the requests that bring files; the host gets them when the test lets them go. */
async function holdUploads(page) {
  const held = [];
  await page.route('**/attachments', (route) => held.push(route));
  return held;
}

async function attach(page, window, names) {
  const chooser = page.waitForEvent('filechooser');
  await page.click(`[data-window="${window}"] .tool[aria-label="Attach"]`);
  await (await chooser).setFiles(names.map((name) => ({ name, mimeType: 'application/zip', buffer: Buffer.from('0123456789') })));
}

const underWay = (page, name) => page.getByRole('progressbar', { name: `Attaching ${name}` });

/** From the message that is read into the editor. */
async function dragAttachment(page) {
  // The browser's own dragging is not to be had without a screen: the same events by hand.
  await page.evaluate(() => {
    const dataTransfer = new DataTransfer();
    const event = (type) => new DragEvent(type, { dataTransfer, bubbles: true, cancelable: true });
    document.querySelector('.attachment').dispatchEvent(event('dragstart'));
    document.querySelector('.editor').dispatchEvent(event('dragover'));
    document.querySelector('.editor').dispatchEvent(event('drop'));
  });
}

test('an attachment of the message that is read is dragged into the one that is written', async (t) => {
  const { page, host } = await open(t);
  await page.waitForSelector('.attachments');
  host.openCompose({ to: ['a@x.example'] });
  await page.waitForSelector('.editor');
  await dragAttachment(page);
  await page.waitForSelector('.compose-attachments >> text=chapter three — remarks.pdf');
  assert.deepEqual(host.uploads.map(({ name, size, inline }) => [name, size, inline]), [['chapter three — remarks.pdf', 10, false]]);
});

test('files are attached by choosing, pictures by pasting', async (t) => {
  const { page, host } = await open(t);
  const window = host.openCompose({ to: ['a@x.example'] });
  await page.waitForSelector('.compose .tool[aria-label="Attach"]');
  const chooser = page.waitForEvent('filechooser');
  await page.click('.compose .tool[aria-label="Attach"]');
  await (await chooser).setFiles([{ name: 'Übersicht.txt', mimeType: 'text/plain', buffer: Buffer.from('hello') }]);
  await page.waitForSelector('.compose-attachments >> text=Übersicht.txt');
  await page.focus('.editor');
  await page.evaluate(() => {
    const transfer = new DataTransfer();
    transfer.items.add(new File([new Uint8Array([137, 80, 78, 71])], 'shot.png', { type: 'image/png' }));
    document.querySelector('.editor').dispatchEvent(new ClipboardEvent('paste', { clipboardData: transfer, bubbles: true, cancelable: true }));
  });
  await until(() => host.uploads.length === 2, 'the picture');
  assert.deepEqual(host.uploads.map(({ name, inline }) => [name, inline]), [['Übersicht.txt', false], ['shot.png', true]]);
  await until(() => callsOf(host, 'compose.update').some((each) => each.bodyHtml?.includes('data-cid="a2"')), 'the picture in the text');
  assert.ok(!callsOf(host, 'compose.update').at(-1).bodyHtml.includes('blob:'));
  await page.click('[aria-label="Remove Übersicht.txt"]');
  await until(() => callsOf(host, 'compose.removeAttachment').length, 'the removal');
  assert.deepEqual(callsOf(host, 'compose.removeAttachment'), [{ window, id: 'a1' }]);
});

test('files on their way are seen and can be stopped; what the host refuses is told', async (t) => {
  const { page, host, faults } = await open(t);
  const held = await holdUploads(page);
  await attach(page, host.openCompose({ to: ['a@x.example'] }), ['first.zip', 'second.zip', 'third.zip']);
  const bar = (name) => underWay(page, name);
  await bar('third.zip').waitFor();
  await until(() => held.length === 1, 'the first file');
  // One that waits for its turn goes at once, not only when that would come.
  await page.getByRole('button', { name: 'Stop attaching second.zip' }).click();
  await bar('second.zip').waitFor({ state: 'detached' });
  assert.equal(await bar('first.zip').count(), 1);
  await page.getByRole('button', { name: 'Stop attaching first.zip' }).click();
  await bar('first.zip').waitFor({ state: 'detached' });
  await until(() => held.length === 2, 'the third file');
  await held[1].fulfill({ status: 422, contentType: 'text/plain', body: 'There is no space left on the disk.' });
  await page.getByRole('region', { name: 'Notices' }).getByText('“third.zip” was not attached. There is no space left on the disk.').waitFor();
  await bar('third.zip').waitFor({ state: 'detached' });
  assert.equal(await page.getByText('was not attached').count(), 1, 'what was stopped is not complained about');
  assert.deepEqual(faults, []);
});

test('the host knows of files that wait for their turn before it is asked to send, and again when it comes back', async (t) => {
  const { page, host, faults } = await open(t);
  const held = await holdUploads(page);
  const window = host.openCompose({ to: ['a@x.example'] });
  await attach(page, window, ['first.zip', 'second.zip']);
  const toldLast = () => callsOf(host, 'compose.uploads').at(-1);
  const send = () => page.locator('.compose .tool.prominent').click();
  const ok = page.getByRole('button', { name: 'OK' });
  await send();
  await ok.click();
  assert.deepEqual(toldLast(), { window, names: ['first.zip', 'second.zip'] });
  await page.locator('.subject-input').press('Control+Enter');
  await ok.click();
  host.expected = {};
  host.goAway();
  await page.getByText('The mail program does not answer').first().waitFor();
  host.comeBack();
  await becomes(() => host.expected, { [window]: ['first.zip', 'second.zip'] });
  await held[0].continue();
  await becomes(() => host.expected, { [window]: ['second.zip'] });
  await until(() => held.length === 2, 'the second file');
  await send();
  await ok.click();
  await held[1].continue();
  await becomes(() => host.expected, { [window]: [] });
  await send();
  await page.waitForSelector('.compose', { state: 'detached' });
  assert.deepEqual(host.uploads.map(({ name }) => name), ['first.zip', 'second.zip']);
  assert.deepEqual(faults, []);
});

test('the files of one message do not wait for those of another', async (t) => {
  const { page, host } = await open(t);
  const held = await holdUploads(page);
  await attach(page, host.openCompose({ to: ['a@x.example'] }), ['large.zip']);
  await until(() => held.length === 1, 'the large file');
  await attach(page, host.openCompose({ to: ['b@x.example'] }), ['small.zip']);
  await until(() => held.length === 2, 'the small file');
  assert.match(held[1].request().url(), /compose-2/);
});

test('with the window go the files that were on their way into it, and no others', async (t) => {
  const { page, host, faults } = await open(t);
  const held = await holdUploads(page);
  const gone = host.openCompose({ to: ['a@x.example'] });
  await attach(page, gone, ['first.zip', 'second.zip']);
  await until(() => held.length === 1, 'the first file');
  const kept = host.openCompose({ to: ['b@x.example'] });
  await attach(page, kept, ['kept.zip']);
  await until(() => held.length === 2, 'the file of the other message');
  const stopped = page.waitForEvent('requestfailed');
  host.closeCompose(gone);
  assert.match((await stopped).url(), new RegExp(`${gone}/`));
  await held[1].continue();
  await page.waitForSelector('.compose-attachments >> text=kept.zip');
  await becomes(() => host.expected, { [gone]: [], [kept]: [] });
  assert.equal(held.length, 2, 'the second file did not set out');
  assert.equal(await page.getByText('was not attached').count(), 0);
  assert.deepEqual(faults, []);
});

test('what is dragged or pasted is waited for from the start', async (t) => {
  const { page, host } = await open(t);
  const held = await holdUploads(page);
  const parts = [];
  await page.route('**/parts/*', (route) => parts.push(route));
  await page.waitForSelector('.attachments');
  const window = host.openCompose({ to: ['a@x.example'] });
  await page.waitForSelector('.editor');
  await page.evaluate(() => {
    const pasted = new DataTransfer();
    for (const name of ['one.png', 'two.png']) pasted.items.add(new File([new Uint8Array([137, 80, 78, 71])], name, { type: 'image/png' }));
    document.querySelector('.editor').dispatchEvent(new ClipboardEvent('paste', { clipboardData: pasted, bubbles: true, cancelable: true }));
  });
  await dragAttachment(page);
  const dragged = 'chapter three — remarks.pdf';
  await becomes(() => host.expected, { [window]: ['one.png', 'two.png', dragged] });
  for (let sent = 0; sent < 2; ++sent) {
    await until(() => held.length > sent, 'a picture');
    await held[sent].continue();
  }
  await until(() => parts.length === 1, 'the other message’s file');
  await page.getByRole('button', { name: `Stop attaching ${dragged}` }).click();
  await becomes(() => host.expected, { [window]: [] });
  await becomes(() => page.locator('.editor img[data-cid]').evaluateAll((all) => all.map((each) => each.dataset.cid)), ['a1', 'a2']);
  assert.equal(await page.getByText('was not attached').count(), 0);
});
