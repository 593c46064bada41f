// Every screen, light, dark and narrow: nothing that axe-core calls serious or critical, and nothing wider than the page.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { listPopover, statusItem } from '../mock/rows.mjs';
import { axeFaults, open, startBrowser, stopBrowser } from './page.mjs';

before(startBrowser);
after(stopBrowser);

const alert = { title: 'The server refused your password.', text: 'Check it and try again.', buttons: ['Open Preferences', 'Later'], suppression: false };
const hint = { identifier: 'hint', anchor: 'toolbar:viewer:Snooze', edge: 1, text: 'A hint.', countdown: '0:24', buttons: ['Yes', 'No'], buttonIcons: ['send'] };

// How each screen is shown, and what tells that it is there.
const screens = {
  viewer: ['.row', async () => {}],
  message: ['.message', (page) => page.click('#row-1003')],
  empty: [
    '.list-empty',
    (page, host) => {
      host.view.mailbox = 'trash';
      host.view.selected = [];
      host.tell('list', 'message', 'viewer');
    },
  ],
  outbox: [
    '.taken',
    (page, host) => {
      host.view.mailbox = 'outbox';
      host.tell('list', 'message');
    },
  ],
  menu: ['.menu', (page) => page.click('.menubar-title:has-text("Message"):visible, .menu-button:visible')],
  compose: [
    '.compose .editor',
    (page, host) => host.openCompose({ to: ['Ada <ada@x.example>', 'wrong'], subject: 'Re: x', attachments: [{ id: '1', name: 'a.pdf', type: 'application/pdf', size: 5, inline: false }] }),
  ],
  sheet: [
    '.sheet',
    async (page, host) => {
      host.openCompose();
      await page.click('.compose .tool[aria-label="Schedule"]');
    },
  ],
  alert: ['.alert', (page, host) => host.alert(alert)],
  preferences: ['.preferences', (page) => page.keyboard.press('Control+,')],
  popover: ['.popover', (page, host) => host.push({ popovers: [hint], app: { ...host.models.app, notices: [{ id: 1, text: 'A notice.' }] } })],
  rows: ['.row-item', (page, host) => host.push({ status: [statusItem], popovers: [listPopover] })],
  shortcuts: ['.dialog', (page) => page.keyboard.press('?')],
  lost: ['.connection-bar', (page, host) => host.close()],
};
const shapes = { light: {}, dark: { dark: true }, narrow: { width: 400, height: 800 } };

for (const [shape, options] of Object.entries(shapes))
  for (const [name, [sign, show]] of Object.entries(screens))
    test(`${name}, ${shape}`, async (t) => {
      const { page, host } = await open(t, options);
      await page.waitForSelector(options.width ? '.row' : '.body-frame');
      await show(page, host);
      await page.waitForSelector(sign);
      await page.evaluate(() => Promise.all(document.getAnimations().map((each) => each.finished.catch(() => undefined))));
      assert.deepEqual(await axeFaults(page), []);
      assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'the page is too wide');
    });
