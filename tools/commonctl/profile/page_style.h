// How the page of a report looks: light and dark, wide and narrow.
#pragma once

namespace commonctl::profile {

// No "<" or "&" in it: the page is XML, too.
inline constexpr const char* kPageStyle = R"(
:root { color-scheme: light dark; --back: #ffffff; --text: #1b1f24; --faint: #57606a; --rule: #d0d7de;
  --loud: #fbe3c4; --quiet: #e2ecf5; --bar: #1f6fb2;
  --l0: #7a0019; --l1: #b3123b; --l2: #d9442f; --l3: #b36b00; --l4: #2f7d32; --l5: #1f6fb2;
  --l6: #6a5acd; --l7: #6b7280; --l8: #8a6d3b; }
@media (prefers-color-scheme: dark) { :root { --back: #12161c; --text: #e6e9ed; --faint: #a3adb8;
  --rule: #39424e; --loud: #4a3414; --quiet: #1d3147; --bar: #6cb2f2;
  --l0: #ff5c7c; --l1: #ff7d9c; --l2: #ff8f7a; --l3: #f0b04a; --l4: #6fce74; --l5: #6cb2f2;
  --l6: #ab9ff5; --l7: #9aa4b0; --l8: #d2b27a; } }
* { box-sizing: border-box; }
body { margin: 0 auto; padding: 1rem; max-width: 72rem; background: var(--back); color: var(--text);
  font: 1rem/1.45 system-ui, sans-serif; }
h1 { font-size: 1.4rem; overflow-wrap: anywhere; } h2 { font-size: 1.1rem; margin-top: 2rem; }
p, figcaption, dt { color: var(--faint); }
dl { display: grid; grid-template-columns: repeat(auto-fit, minmax(9rem, 1fr)); gap: .75rem; margin: 0; }
dd { margin: 0; font-size: 1.2rem; overflow-wrap: anywhere; }
figure { margin: 0; } figcaption { margin-top: .5rem; }
.frame { display: grid; grid-template-columns: auto minmax(0, 1fr); gap: .25rem .5rem; font-size: .8rem; }
.y, .x { display: flex; justify-content: space-between; color: var(--faint); }
.y { flex-direction: column; text-align: right; } .x { grid-column: 2; gap: .5rem; }
.plot { width: 100%; height: 16rem; border: 1px solid var(--rule); border-width: 0 0 1px 1px; }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; font-variant-numeric: tabular-nums; font-size: .9rem; }
caption { text-align: left; color: var(--faint); padding-bottom: .25rem; }
th, td { padding: .25rem .5rem; border-bottom: 1px solid var(--rule); text-align: right; white-space: nowrap; }
th:first-child, td:first-child, tbody th { text-align: left; }
tbody th { font-weight: 400; font-family: ui-monospace, monospace; white-space: normal;
  overflow-wrap: anywhere; min-width: 12rem; }
.bar { width: 8rem; height: .75rem; fill: var(--bar); }
.legend { display: flex; flex-wrap: wrap; gap: .25rem 1rem; list-style: none; margin: .5rem 0; padding: 0;
  font-size: .9rem; }
.key { width: .8rem; height: .8rem; margin-right: .4rem; }
summary { cursor: pointer; padding: .5rem 0; }
.loud { fill: var(--loud); } .quiet { fill: var(--quiet); }
.l0 { fill: var(--l0); } .l1 { fill: var(--l1); } .l2 { fill: var(--l2); } .l3 { fill: var(--l3); }
.l4 { fill: var(--l4); } .l5 { fill: var(--l5); } .l6 { fill: var(--l6); } .l7 { fill: var(--l7); }
.l8 { fill: var(--l8); }
@media (max-width: 40rem) { body { padding: .5rem; } .bar { width: 4rem; } .plot { height: 11rem; }
  th, td { padding: .25rem; } }
)";

}  // namespace commonctl::profile
