// What lies over what when several things are open at once.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { open, startBrowser, stopBrowser } from './page.mjs';

before(startBrowser);
after(stopBrowser);

/** Whether the corners and the middle of the element can be seen and pressed. */
const isOnTop = (page, selector) =>
  page.evaluate((wanted) => {
    const element = document.querySelector(wanted);
    const { left, top, right, bottom } = element.getBoundingClientRect();
    const inset = 14;
    const points = [[left + inset, top + 2], [right - inset, top + 2], [left + inset, bottom - 2], [(left + right) / 2, (top + bottom) / 2]];
    return points.every(([x, y]) => element.contains(document.elementFromPoint(x, y)));
  }, selector);

const still = (page) => page.evaluate(() => Promise.all(document.getAnimations().map((each) => each.finished.catch(() => undefined))));

const sheetOf = (host) => ({
  ...host.models.viewer,
  sheet: { identifier: 'place', title: 'Where does it belong?', message: 'Choose a mailbox.', groups: [], buttons: [{ title: 'OK' }, { title: 'Cancel', isCancel: true }] },
});

for (const width of [1280, 700, 400]) {
  test(`what the viewer asks is not covered by its bars, nor by a compose window on a narrow page, ${width}`, async (t) => {
    const { page, host } = await open(t, { width });
    if (width === 400) host.openCompose();
    host.push({ viewer: sheetOf(host) });
    await page.waitForSelector('.sheet');
    await still(page);
    assert.ok(await isOnTop(page, '.sheet'), 'sheet');
    host.alert({ window: 'viewer', title: 'Really?', text: 'It cannot be taken back.', buttons: ['Yes', 'No'] });
    await page.waitForSelector('.alert');
    await still(page);
    assert.ok(await isOnTop(page, '.alert'), 'alert over sheet');
  });
}

test('the menu bar stays in reach beside an alert of the viewer, and its menus lie over that', async (t) => {
  const { page, host } = await open(t);
  host.alert({ window: 'viewer', title: 'Really?', buttons: ['Yes', 'No'] });
  await page.waitForSelector('.alert');
  await page.click('.menubar-title:has-text("Message")');
  await page.waitForSelector('.menu');
  assert.ok(await isOnTop(page, '.menu'), 'menu');
  assert.ok(await isOnTop(page, '.menubar-title:last-child'), 'the next title can be gone on to');
});

test('no key reaches what lies behind a question of the viewer', async (t) => {
  const { page, host } = await open(t);
  const asked = () => host.calls.map(({ call }) => call).filter((each) => /^(toolbar|menu|list|message)\./.test(each));
  host.push({ viewer: sheetOf(host) });
  await page.waitForSelector('.sheet');
  const before = asked();
  const isInSheet = () => page.evaluate(() => document.activeElement.closest('.sheet') !== null);
  await page.mouse.click(40, 700); // on the veil
  assert.ok(await isInSheet(), 'the keys stay where they were');
  await page.evaluate(() => document.activeElement.blur());
  const keys = ['Delete', 'e', 'r', 'ArrowDown', 'Control+Alt+a', '/', 'F6'];
  for (const key of keys) await page.keyboard.press(key);
  assert.equal(await page.evaluate(() => document.activeElement.className), '', 'nor does one lead there');
  await page.mouse.click(40, 700);
  assert.ok(await isInSheet(), 'a press on the veil leads back');

  host.openCompose();
  await page.waitForSelector('.compose');
  await page.focus('.subject-input');
  for (let step = 0; step < 12; ++step) {
    await page.keyboard.press('F6');
    const place = await page.evaluate(() => document.activeElement.closest('.compose, .menubar, .sheet')?.className);
    assert.ok(place, 'what can be walked to is in reach');
  }
  await page.keyboard.press('Escape');
  assert.deepEqual(asked(), before);
});

test('a press beside what a message’s window asks leaves the keys there', async (t) => {
  const { page, host } = await open(t);
  const window = host.openCompose({ to: ['a@x.example'] });
  await page.waitForSelector('.compose');
  const id = host.alert({ window, title: 'Really?', buttons: ['Yes', 'No'] });
  await page.waitForSelector('.alert');
  const { x, y, height } = await page.locator('.compose-body').boundingBox();
  await page.mouse.click(x + 20, y + height - 20);
  await page.keyboard.press('Delete');
  await page.keyboard.press('Escape');
  await page.waitForSelector('.alert', { state: 'detached' });
  const told = host.calls.filter(({ call }) => /^(toolbar|menu|alert)\./.test(call)).map(({ call, args }) => [call, args.button]);
  assert.deepEqual(told, [['alert.answer', 1]], `of alert ${id}`);
});

test('what the program asks covers the menu bar and every window, and a notice lies over it', async (t) => {
  const { page, host } = await open(t);
  host.openCompose();
  await page.waitForSelector('.compose');
  host.push({ app: { ...host.models.app, notices: [{ id: 1, text: 'A notice.' }] } });
  host.alert({ title: 'Really?', buttons: ['Yes', 'No'] });
  await page.waitForSelector('.alert');
  await page.waitForSelector('.notice');
  await still(page);
  assert.ok(await isOnTop(page, '.alert'), 'alert');
  assert.ok(await isOnTop(page, '.notice'), 'notice');
  assert.ok(!(await isOnTop(page, '.menubar-title:first-child')), 'menu bar');
  assert.ok(!(await isOnTop(page, '.compose-title')), 'compose window');
});
