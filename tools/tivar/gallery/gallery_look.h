// What the gallery's page looks like and how it answers the mouse.

#ifndef TIVAR_TOOL_GALLERY_LOOK_H
#define TIVAR_TOOL_GALLERY_LOOK_H

namespace tool {

inline constexpr char kGalleryStyle[] = R"css(
:root {
  color-scheme: light dark;
  --page: #f6f5f2; --card: #fff; --line: #dedbd4; --text: #1d1d1f; --soft: #6b6a66;
  --accent: #0b62c4; --bar: #9cc3f0; --warn: #8a4b00;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #16171a; --card: #1f2125; --line: #34373d; --text: #ececea; --soft: #a2a29c;
    --accent: #7db8ff; --bar: #3f668f; --warn: #f0b35a;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0 auto; padding: 1.5rem; max-width: 1600px; background: var(--page); color: var(--text);
  font: 15px/1.5 system-ui, sans-serif;
}
header { margin: 0 0 1.25rem; }
h1 { margin: 0; font-size: 1.6rem; line-height: 1.2; overflow-wrap: anywhere; }
h2 { margin: 0 0 .75rem; font-size: 1.2rem; }
h2 small { color: var(--soft); font-weight: normal; font-size: .9rem; margin-left: .5rem; }
p { margin: .25rem 0; color: var(--soft); }
a { color: var(--accent); }
nav a { margin-right: 1rem; }
main { display: grid; grid-template-columns: minmax(0, 4fr) minmax(0, 7fr); gap: 1.25rem; align-items: start; }
main > div { display: grid; grid-template-columns: minmax(0, 1fr); gap: 1.25rem; }
article {
  background: var(--card); border: 1px solid var(--line); border-radius: 10px; padding: 1rem;
}
.source { position: sticky; top: 1rem; }
.shots { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(100%, 16rem), 1fr)); gap: .75rem; }
figure { margin: 0; max-width: 36rem; }
figure img {
  display: block; width: 100%; height: auto; border-radius: 4px; background: var(--line);
  user-select: none; -webkit-user-drag: none;
}
.result figure img { cursor: pointer; }
.pixels img { image-rendering: pixelated; }
figcaption { font-size: .85rem; color: var(--soft); }
.note { color: var(--warn); margin: .5rem 0; }
button {
  font: inherit; color: var(--accent); background: none; border: 1px solid var(--line);
  border-radius: 6px; padding: .15rem .75rem; margin: .75rem 0 0; cursor: pointer; touch-action: none;
}
.scroll { overflow-x: auto; margin-top: .75rem; }
table { border-collapse: collapse; width: 100%; font-size: .8rem; }
th, td { text-align: left; padding: .3rem .6rem .3rem 0; border-top: 1px solid var(--line); white-space: nowrap; }
thead th { border-top: 0; color: var(--soft); font-weight: normal; font-size: .85rem; }
td.number, th.number { text-align: right; font-variant-numeric: tabular-nums; }
td.size {
  min-width: 5rem;
  background: linear-gradient(var(--bar), var(--bar)) right .6rem bottom 2px / calc(var(--share) * .9) 4px no-repeat;
}
td:last-child, th:last-child { padding-right: 0; }
.palette { list-style: none; display: flex; flex-wrap: wrap; gap: 2px; padding: 0; margin: .75rem 0 0; }
.palette li { width: 16px; height: 16px; border-radius: 2px; box-shadow: inset 0 0 0 1px #8884; }
.palette.few li { width: 32px; height: 32px; border-radius: 4px; }
footer { margin-top: 1.25rem; font-size: .85rem; }
@media (max-width: 60rem) {
  main { grid-template-columns: minmax(0, 1fr); }
  .source { position: static; }
}
)css";

// While a button or a picture is held down, the source stands where the result was.
inline constexpr char kGalleryScript[] = R"js(
for (const result of document.querySelectorAll(".result")) {
  const pairs = [...result.querySelectorAll("img")].map(
    (image) => [image, image.src, document.querySelector(".source ." + image.className).src]);
  const show = (which) => pairs.forEach((pair) => { pair[0].src = pair[which]; });
  for (const target of result.querySelectorAll("button, img")) {
    target.addEventListener("pointerdown", (event) => {
      if (target.tagName === "BUTTON" || event.pointerType === "mouse") show(2);
    });
    for (const end of ["pointerup", "pointerleave", "pointercancel", "blur"])
      target.addEventListener(end, () => show(1));
  }
  const button = result.querySelector("button");
  button.addEventListener("keydown", (event) => {
    if (event.key === " " || event.key === "Enter") { event.preventDefault(); show(2); }
  });
  button.addEventListener("keyup", () => show(1));
}
)js";

}  // namespace tool

#endif
