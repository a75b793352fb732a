// What the gallery's page looks like, and how it answers the mouse and the keyboard.
#pragma once

namespace tool {

inline constexpr char kGalleryStyle[] = R"css(
:root {
  color-scheme: light dark;
  --page: #f6f5f2; --card: #fff; --line: #dedbd4; --text: #1d1d1f; --soft: #5f5e5a;
  --accent: #0b5cb8; --on-accent: #fff; --bar: #9cc3f0; --warn: #8a4b00;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #16171a; --card: #1f2125; --line: #3a3e45; --text: #ececea; --soft: #aeaea8;
    --accent: #7db8ff; --on-accent: #10131a; --bar: #3f668f; --warn: #f0b35a;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0 auto; padding: 1.5rem; max-width: 1280px; background: var(--page); color: var(--text);
  font: 15px/1.5 system-ui, sans-serif;
}
h1 { margin: 0; font-size: 1.6rem; line-height: 1.2; overflow-wrap: anywhere; }
h2 { margin: 0 0 .75rem; font-size: 1.25rem; }
h2 small { color: var(--soft); font-weight: normal; font-size: .9rem; margin-left: .5rem; }
h3 { margin: 0; font-size: 1rem; }
p { margin: .25rem 0; color: var(--soft); }
a { color: var(--accent); }
:focus-visible { outline: 3px solid var(--accent); outline-offset: 2px; border-radius: 3px; }
nav { display: flex; flex-wrap: wrap; gap: .25rem 1rem; margin: .25rem 0 1.25rem; }
section { margin-top: 2rem; scroll-margin-top: 1rem; }
.cards { display: grid; grid-template-columns: repeat(3, minmax(0, 1fr)); gap: 1rem; }
article {
  background: var(--card); border: 1px solid var(--line); border-radius: 10px; padding: 1rem;
}
article h2 { font-size: 1rem; margin: 0 0 .5rem; }
.legend { grid-column: span 2; }
.legend dl { margin: .5rem 0; }
.legend dt { font-weight: 600; }
.legend dd { margin: 0 0 .35rem; color: var(--soft); }
.store { position: absolute; }
.shots { display: grid; gap: .5rem; justify-items: start; }
.shot {
  display: block; max-width: min(100%, 352px); height: auto; outline: 1px solid var(--line); user-select: none;
}
.card .shot { cursor: pointer; }
.pixels { image-rendering: pixelated; }
.options { margin: 0 0 .5rem; font-size: .8rem; }
.options span { white-space: nowrap; }
.note, .lost { font-size: .85rem; margin: .5rem 0 0; }
.lost { color: var(--warn); }
button {
  font: inherit; color: var(--accent); background: none; border: 1px solid currentColor;
  border-radius: 6px; padding: .15rem .75rem; margin: .6rem 0 0; cursor: pointer; touch-action: none;
  user-select: none;
}
button[aria-pressed="true"] { background: var(--accent); color: var(--on-accent); }
.unseen { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%); white-space: nowrap; }
.card dl { display: grid; grid-template-columns: 1fr 1fr; gap: .15rem 1rem; margin: .6rem 0 0; }
.card dl div { display: flex; justify-content: space-between; gap: .5rem; border-top: 1px solid var(--line); }
dt { color: var(--soft); }
.card dt, .card dd { margin: 0; font-size: .85rem; white-space: nowrap; }
.card dd { font-variant-numeric: tabular-nums; }
.scroll { overflow-x: auto; margin-top: 1rem; }
table { border-collapse: collapse; width: 100%; font-size: .8rem; }
th, td { text-align: left; padding: .3rem .75rem .3rem 0; border-top: 1px solid var(--line); white-space: nowrap; }
thead th { border-top: 0; color: var(--soft); font-weight: normal; font-size: .85rem; }
td.number, th.number { text-align: right; font-variant-numeric: tabular-nums; }
td.size {
  min-width: 5rem;
  background: linear-gradient(var(--bar), var(--bar)) right .75rem bottom 2px / calc(var(--share) * .85) 4px no-repeat;
}
td:last-child, th:last-child { padding-right: 0; }
.palette { list-style: none; display: flex; flex-wrap: wrap; gap: 2px; padding: 0; margin: .6rem 0 0; }
.palette li { width: 9px; height: 9px; border-radius: 1px; box-shadow: inset 0 0 0 1px #8884; }
.palette.few li { width: 20px; height: 20px; border-radius: 3px; }
@media (max-width: 68rem) { .cards { grid-template-columns: repeat(2, minmax(0, 1fr)); } }
@media (max-width: 46rem) {
  body { padding: .75rem; }
  article { padding: .65rem; }
  .cards { grid-template-columns: minmax(0, 1fr); }
  .legend { grid-column: auto; }
}
)css";

// While a button or a picture is held down, the source stands where the result was.
inline constexpr char kGalleryScript[] = R"js(
for (const card of document.querySelectorAll(".card")) {
  const button = card.querySelector("button");
  const shots = [...card.querySelectorAll("use")].map(
    (use) => [use, use.getAttribute("href"), use.dataset.original ?? use.getAttribute("href")]);
  const show = (held) => {
    for (const [use, own, original] of shots) use.setAttribute("href", held ? original : own);
    button.setAttribute("aria-pressed", held);
  };
  for (const target of [button, ...card.querySelectorAll(".shot")]) {
    target.addEventListener("pointerdown", (event) => {
      if (target === button || event.pointerType === "mouse") show(true);
    });
    for (const end of ["pointerup", "pointerleave", "pointercancel"])
      target.addEventListener(end, () => show(false));
  }
  /* A picture that is pressed takes the focus from the button, which is no reason to let go. */
  let byKey = false;
  button.addEventListener("keydown", (event) => {
    if (event.key !== " " && event.key !== "Enter") return;
    event.preventDefault();
    show(byKey = true);
  });
  for (const end of ["keyup", "blur"])
    button.addEventListener(end, () => { if (byKey) show(byKey = false); });
  show(false);
  button.hidden = false;
}
)js";

}  // namespace tool
