// Believable mail for the mock host: 2400 messages in the inbox, made from a few real-looking ones and many plain ones.

const people = [
  ['Ada Lovelace', 'ada@analytical.example'], ['Charles Babbage', 'charles@engine.example'],
  ['Grace Hopper', 'grace@harbour.example'], ['Mary Somerville', 'mary@spheres.example'],
  ['Emmy Noether', 'emmy@goettingen.example'], ['Srinivasa R.', 'srini@madras.example'],
  ['Wren & Daughters, Bookbinders', 'orders@wren.example'], ['Torben Ægidius', 'torben@fjord.example'],
];
const subjects = [
  'Minutes of Tuesday', 'Draft of chapter three, with your remarks', 'Re: The bridge in spring', 'Invoice 2026-118',
  'Tickets for the concert', 'A question about the proofs', 'Your parcel is on its way', 'Walking on Sunday?',
];
const snippets = [
  'Thank you all for coming. We agreed on three things, and left two of them open until the figures are here.',
  'I went through it twice on the train. The middle is much better now; the end still promises more than it gives.',
  'The engineers say April. I would plan for May, and tell the neighbours so.',
  'Please find attached the invoice for binding forty copies in half linen.',
  'Row F, seats 12 and 13. The doors close at eight sharp, so let us meet at half past seven.',
];

export function makeInbox(count) {
  const rows = [];
  for (let i = 0; i < count; ++i) {
    const [name, address] = people[(i * 7 + (i >> 3)) % people.length];
    rows.push({
      id: 1000 + i, from: name, address, subject: subjects[(i * 5 + (i >> 2)) % subjects.length],
      snippet: snippets[(i * 3) % snippets.length], date: i < 6 ? `${11 - i}:${20 + i * 5}` : i < 14 ? 'Yesterday' : `${20 - (i % 18)} Nov`,
      dateLong: 'Sunday, 22 November 2026 at 11:20', unread: i === 0 || i === 3 || i === 4, answered: i === 2, forwarded: i === 5,
      flagged: i === 1 || i === 7, colour: i === 1 ? 0 : 4, attachments: i % 4 === 1 ? 2 : 0, icons: [],
    });
  }
  Object.assign(rows[0], { subject: 'Draft of chapter three, with your remarks', from: 'Ada Lovelace', attachments: 2 });
  rows[2].icons = [{ image: 'plugin:MV_Tracked', label: 'Read on Friday' }];
  Object.assign(rows[3], { from: 'Ørsted Fødevarer — a name that is far too long for its row', subject: '<b>Not markup</b> & so on' });
  return rows;
}

export function makeOutbox() {
  const row = {
    attachments: 0, unread: false, answered: false, forwarded: false, flagged: false, colour: 0, icons: [], snippet: '',
    date: '11:32', dateLong: 'Sunday, 22 November 2026 at 11:32', address: 'emmy@goettingen.example',
  };
  return [
    { ...row, id: 1, from: 'Emmy Noether', subject: 'On invariants', delivery: { state: 'waiting', attempts: 0, lastAnswer: '', until: '23 Nov, 08:00' } },
    { ...row, id: 2, from: 'Torben Ægidius', subject: 'The boat', delivery: { state: 'failed', attempts: 3, lastAnswer: 'The server does not know this address (550).' } },
  ];
}

export const taken = [
  {
    uniqueID: 'u-1', to: 'Grace Hopper', subject: 'Harbour dues',
    delivery: { state: 'inDoubt', attempts: 1, lastAnswer: 'The server hung up before it confirmed the message.' },
  },
];

export const addresses = people.map(([name, address]) => `${/[&,]/.test(name) ? `"${name}"` : name} <${address}>`);

export const longBody = `<p>Dear friend,</p>
<p>I went through it twice on the train. The middle is much better now; the end still promises more than it gives, and I
would rather it <em>kept quiet</em> and let the reader draw the line. Three remarks:</p>
<ol><li>The figure on page 41 belongs on page 39.</li><li>You say “engine” where you mean “mill”.</li>
<li>The note about the cards is the best thing in the chapter. Do not bury it in a footnote.</li></ol>
<p>The scans are at <a href="https://files.analytical.example/scans?x=1">files.analytical.example</a>, and the printer asked
us to confirm at <a href="https://evil.example/login">www.printer.example</a>.</p>
<blockquote type="cite"><p>On Friday you wrote:</p><p>Would you read the third chapter once more before it goes out?</p></blockquote>
${'<p>The engine can arrange and combine its numerical quantities exactly as if they were letters or any other general symbols; and in fact it might bring out its results in algebraical notation, were provisions made accordingly.</p>'.repeat(14)}
<p>Yours,<br>Ada</p><script>alert(1)</script><img src="https://evil.example/p.gif" onerror="alert(2)">`;

export const newsBody = `<style>.card{background:#f4efe2;padding:24px;border-radius:8px}</style><table width="600" align="center" bgcolor="#ffffff">
<tr><td style="background:#24414a;color:#fff;padding:28px;font-size:26px">Wren &amp; Daughters</td></tr>
<tr><td class="card"><h2>Your books are bound</h2><p>Forty copies in half linen wait for you in Mill Lane.</p></td></tr></table>`;
