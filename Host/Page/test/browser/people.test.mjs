// Pictures of people beside their names, where the person wants them.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { axeFaults, becomes, callsOf, open, startBrowser, stopBrowser } from './page.mjs';

before(startBrowser);
after(stopBrowser);

const square = (colour) => `data:image/svg+xml,${encodeURIComponent(`<svg xmlns="http://www.w3.org/2000/svg" width="96" height="96"><rect width="96" height="96" fill="${colour}"/></svg>`)}`;
const asked = (host) => callsOf(host, 'people.pictures').flatMap((each) => each.addresses);

/** Everybody in the list is somebody else. */
function wantPictures(host, pictures = {}) {
  host.pictures = pictures;
  host.inbox.forEach((row, index) => (row.address = `person${index}@x.example`));
  host.tell('list');
}

test('without the wish for pictures there is neither one nor room for it', async (t) => {
  const { page, host } = await open(t);
  assert.equal(await page.locator('.face').count(), 0);
  const left = (await page.locator('#row-1000 .row-from').boundingBox()).x;
  wantPictures(host);
  await page.waitForSelector('.face');
  assert.ok((await page.locator('#row-1000 .row-from').boundingBox()).x > left + 30);
  host.pictures = null;
  host.tell('list');
  await page.waitForSelector('.face', { state: 'detached' });
  assert.equal((await page.locator('#row-1000 .row-from').boundingBox()).x, left);
});

test('initials stand until a picture comes, which moves nothing', async (t) => {
  const { page, host } = await open(t);
  wantPictures(host, { 'person1@x.example': square('tomato') });
  await page.waitForSelector('#row-1001 .face-picture');
  assert.equal(await page.textContent('#row-1000 .face'), 'AL');
  const boxes = () => page.evaluate(() => [...document.querySelectorAll('.row, .row-from, .face')].map((each) => JSON.stringify(each.getBoundingClientRect())));
  const before = await boxes();
  host.pictures['person0@x.example'] = square('teal');
  host.send({ type: 'picture', address: 'person0@x.example' });
  await page.waitForSelector('#row-1000 .face-picture');
  assert.deepEqual(await boxes(), before);
  assert.equal(await page.getAttribute('#row-1000 .face', 'aria-hidden'), 'true', 'the name is told already');
});

test('a question that is lost with the connection is asked again when that is back', async (t) => {
  const { page, host } = await open(t);
  const answer = host.answer.bind(host);
  host.answer = (call, args) => {
    if (call === 'people.pictures') host.goAway();
    return answer(call, args);
  };
  wantPictures(host, { 'person1@x.example': square('tomato') });
  await page.waitForSelector('#row-1001 .face');
  await page.getByText('The mail program does not answer').first().waitFor();
  host.answer = answer;
  host.comeBack();
  await page.waitForSelector('#row-1001 .face-picture');
});

test('only those in view are asked for, and nobody twice', async (t) => {
  const { page, host } = await open(t);
  wantPictures(host);
  await becomes(() => asked(host).includes('person0@x.example'), true);
  assert.ok(asked(host).length < 60, `${asked(host).length} were asked for`);
  await page.evaluate(() => (document.querySelector('.list-scroller').scrollTop = 1000 * 78));
  await page.waitForSelector('#row-2001 .face');
  await becomes(() => asked(host).includes('person1001@x.example'), true);
  await page.evaluate(() => (document.querySelector('.list-scroller').scrollTop = 0));
  await page.waitForSelector('#row-1000 .face');
  host.send({ type: 'picture', address: 'person500@x.example' }); // not in view
  host.send({ type: 'picture', address: 'person2@x.example' });
  await becomes(() => asked(host).filter((each) => each === 'person2@x.example').length, 2);
  assert.ok(asked(host).length < 180, `${asked(host).length} were asked for`);
  assert.equal(asked(host).filter((each) => each === 'person0@x.example').length, 1);
  assert.ok(!asked(host).includes('person500@x.example'));
});

for (const [shape, options] of Object.entries({ light: {}, dark: { dark: true }, narrow: { width: 400, height: 800 } }))
  test(`rows with pictures can be read by everybody, ${shape}`, async (t) => {
    const { page, host } = await open(t, options);
    wantPictures(host, { 'person1@x.example': square('tomato') });
    await page.waitForSelector('.face-picture');
    assert.deepEqual(await axeFaults(page), []);
  });
