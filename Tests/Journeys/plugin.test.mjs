// With the plug-in and without it: what the program is, and what the plug-in adds to it.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { chooseFromMenu, row, startBrowser } from './support/browser.mjs';
import { Host, startHost } from './support/host.mjs';
import { LivePage } from './support/live.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

const titles = (menu) => menu.submenu.filter((item) => !item.separator).map((item) => item.title);
const ofPlugIn = /Send Later|Snooze|quick note|Create note|Quillstead log file|Uninstall Quillstead/;

test('without the plug-in it is a plain mail program', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--no-plugin'] });
  const page = await LivePage.open(await host.link());
  const { menu, viewer, list } = page.models;
  assert.deepEqual(menu.flatMap(titles).filter((title) => ofPlugIn.test(title)), []);
  assert.deepEqual(viewer.toolbar.filter(({ label }) => ofPlugIn.test(label)), []);
  assert.ok(list.rows.length > 5);
  page.close();
});

for (const minor of ['10', '11', '12'])
  test(`the plug-in’s items stand in the menus of version ${minor}`, async (t) => {
    const host = await startHost(t, { args: ['--demo', '--os-minor', minor] });
    const page = await LivePage.open(await host.link());
    const { menu } = page.models;
    const message = titles(menu[5]);
    for (const title of ['Send Later', 'Snooze', 'Create quick note', 'Create note'])
      assert.ok(message.includes(title), `${title} is not among ${message.join(', ')}`);
    assert.deepEqual(titles(menu.at(-1)).slice(-2), ['Show Quillstead log file', 'Uninstall Quillstead']);
    assert.equal(host.errors, '');
    page.close();
  });

test('uninstalled it stays away until it is asked for', async (t) => {
  const host = await startHost(t);
  const page = await browser.open(t, host);
  await chooseFromMenu(page, 'Help', 'Uninstall Quillstead');
  await page.getByRole('alertdialog').getByRole('button', { name: 'Uninstall' }).click();
  await page.getByRole('alertdialog').waitFor({ state: 'detached' });
  // The removal goes on in the background: the next program waits for its mark.
  const again = async (args) => {
    await host.stop();
    const next = new Host(args, host.home, host.data);
    t.after(() => next.stop('SIGKILL'));
    await next.start();
    const live = await LivePage.open(await next.link());
    const found = live.models.menu.flatMap(titles).some((title) => ofPlugIn.test(title));
    live.close();
    await next.stop();
    return { found, said: next.output };
  };
  const without = await again(['--demo']);
  assert.equal(without.found, false);
  assert.match(without.said, /The plug-in was uninstalled; --reinstall brings it back\./);
  assert.equal((await again(['--demo', '--reinstall'])).found, true);
});

test('its pane is in the preferences', async (t) => {
  const host = await startHost(t);
  const page = await browser.open(t, host);
  await row(page, 'Ten years').waitFor();
  await page.keyboard.press('Control+,');
  const preferences = page.getByRole('dialog');
  await preferences.getByText('Quillstead', { exact: true }).first().click();
  await preferences.locator('input, select').first().waitFor();
  assert.deepEqual(page.faults, []);
});
