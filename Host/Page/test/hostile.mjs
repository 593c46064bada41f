// Mails that try to run, load, submit or go somewhere, our own making. `probe` is the address of a server that notes what
// reaches it: /ran tells of code that ran, /load of something loaded, /sent of a form, /gone of a page that was left.
//
// Each names what it does in a frame without any protection: a case that does nothing there tests nothing.

const run = (probe) => `new Image().src='${probe}/ran'`;

export const hostileMails = [
  { name: 'a script', does: ['ran'], html: (p) => `<script>${run(p)}</script>` },
  { name: 'a script from elsewhere', does: ['load'], html: (p) => `<script src="${p}/load"></script>` },
  { name: 'a picture that fails', does: ['ran'], html: (p) => `<img src="data:," onerror="${run(p)}">` },
  { name: 'a handler in odd letters', does: ['ran'], html: (p) => `<img/src="data:,"/oNeRRoR = "${run(p)}">` },
  { name: 'a drawing that runs', does: ['ran'], html: (p) => `<svg onload="${run(p)}"></svg>` },
  { name: 'a script in a drawing', does: ['ran'], html: (p) => `<svg><script>${run(p)}</script></svg>` },
  { name: 'a fold that opens', does: ['ran'], html: (p) => `<details open ontoggle="${run(p)}"><summary>a</summary></details>` },
  { name: 'an animation that starts', does: ['ran'], html: (p) => `<style>@keyframes k{}</style><p style="animation:k 1ms" onanimationstart="${run(p)}">a</p>` },
  { name: 'a frame with a script of its own', does: ['ran'], html: (p) => `<iframe srcdoc="<script>${run(p)}</script>"></iframe>` },
  { name: 'a frame with an address that runs', does: ['ran'], html: (p) => `<iframe src="javascript:void(${run(p)})"></iframe>` },
  { name: 'an object that frames a page', does: ['load'], html: (p) => `<object data="${p}/load" type="text/html"></object>` },
  { name: 'an embedded page', does: ['load'], html: (p) => `<embed src="${p}/load" type="text/html">` },
  { name: 'markup that changes when it is read again', does: ['ran'], html: (p) => `<math><mtext><table><mglyph><style><!--</style><img title="--&gt;&lt;img src=data:, onerror=&quot;${run(p)}&quot;&gt;"><img src="data:," onerror="${run(p)}">` },
  { name: 'a field that takes the focus', does: ['ran'], html: (p) => `<input autofocus onfocus="${run(p)}">` },
  { name: 'a picture on the web', does: ['load'], html: (p) => `<img src="${p}/load">` },
  { name: 'a picture for another screen', does: ['load'], html: (p) => `<img srcset="${p}/load 1x, ${p}/load 2x">` },
  { name: 'a choice of pictures', does: ['load'], html: (p) => `<picture><source srcset="${p}/load"><img src="data:,"></picture>` },
  { name: 'a background', does: ['load'], html: (p) => `<table background="${p}/load"><tr><td>a</td></tr></table>` },
  { name: 'a background in a style', does: ['load'], html: (p) => `<div style="background-image:url(${p}/load)">a</div>` },
  { name: 'a background in escapes', does: ['load'], html: (p) => `<div style="background-image:\\75 rl(${p}/load)">a</div>` },
  { name: 'a style sheet from elsewhere', does: ['load'], html: (p) => `<link rel="stylesheet" href="${p}/load">` },
  { name: 'an imported style sheet', does: ['load'], html: (p) => `<style>@import "${p}/load";</style>` },
  { name: 'a font', does: ['load'], html: (p) => `<style>@font-face{font-family:f;src:url(${p}/load)}p{font-family:f}</style><p>a</p>` },
  { name: 'a list mark', does: ['load'], html: (p) => `<ul style="list-style-image:url(${p}/load)"><li>a</ul>` },
  { name: 'a picture set in a style', does: ['load'], html: (p) => `<p style="background-image:image-set(url(${p}/load) 1x)">a</p>` },
  { name: 'words before others', does: ['load'], html: (p) => `<style>p::before{content:url(${p}/load)}</style><p>a</p>` },
  { name: 'a film with a poster', does: ['load'], html: (p) => `<video poster="${p}/load" controls></video>` },
  { name: 'a film', does: ['load'], html: (p) => `<video src="${p}/load" preload="auto" autoplay muted></video>` },
  { name: 'a sound', does: ['load'], html: (p) => `<audio src="${p}/load" preload="auto"></audio>` },
  { name: 'a drawing with a picture', does: ['load'], html: (p) => `<svg><image href="${p}/load" width="9" height="9"/></svg>` },
  { name: 'an address that all others begin with', does: ['load'], html: (p) => `<base href="${p}/"><img src="load">` },
  { name: 'a button that is a picture', does: ['load'], html: (p) => `<input type="image" src="${p}/load">` },
  { name: 'a form that sends itself', does: ['sent'], html: (p) => `<form action="${p}/sent" id="f"><input name="a"></form><script>document.getElementById('f').submit()</script>` },
  { name: 'a page that goes on by itself', does: ['gone'], html: (p) => `<meta http-equiv="refresh" content="0;url=${p}/gone">` },
  { name: 'a script that leaves', does: ['gone'], html: (p) => `<script>location='${p}/gone'</script>` },
  { name: 'a script that takes the page along', does: ['gone'], html: (p) => `<script>top.location='${p}/gone'</script>` },
];
