// The search of the manual: every word that is typed must be in an entry of search_index.js, which
// is loaded when the box is first used. What has the words in its name comes before what has them
// in its text. No server is asked.
'use strict';
(() => {
  const shownAtMost = 30;
  const script = document.currentScript;
  const root = script.src.replace(/[^/]*$/, '');
  let entries;
  let box;
  let panel;

  // How well a word in the text of an entry fits: early in what is for users before the rest.
  function textRank(entry, at) {
    const early = at < 150 ? 0 : 10;
    return early + (entry.isAside ? 30 : entry.kind === 'header' ? 6 : entry.isPage ? 7 : 9);
  }

  // How well an entry fits: lower is better; null when a word is missing.
  function rank(entry, words) {
    const name = entry.name.toLowerCase();
    let total = 0;
    for (const word of words) {
      const at = name.indexOf(word);
      if (at >= 0) {
        const begins = at === 0 || !/[a-z0-9]/.test(name[at - 1]);
        total += name === word ? 0 : at === 0 ? 1 : begins ? 2 : 3;
      } else if (entry.low.includes(word)) {
        total += textRank(entry, entry.low.indexOf(word));
      } else {
        return null;
      }
    }
    return total + (entry.isValue ? 0.5 : 0) + Math.min(name.length, 99) / 1000;
  }

  function find(text) {
    const words = text.toLowerCase().replace(/\(\)/g, '').split(/\s+/).filter(Boolean);
    if (words.length === 0) {
      return [];
    }
    return entries.map((entry) => ({entry, rank: rank(entry, words), words}))
        .filter((hit) => hit.rank !== null)
        .sort((a, b) => a.rank - b.rank);
  }

  // The words around the first one that was looked for, or the first words.
  function excerpt({entry, words}) {
    const at = Math.max(0, Math.min(...words.map((word) => entry.low.indexOf(word)).filter((i) => i >= 0), 1e9));
    const from = at < 60 || at > entry.text.length ? 0 : entry.text.lastIndexOf(' ', at - 30) + 1;
    const piece = entry.text.slice(from, from + 130);
    return (from > 0 ? '… ' : '') + piece + (from + 130 < entry.text.length ? ' …' : '');
  }

  function row(hit) {
    const item = document.createElement('li');
    const link = document.createElement('a');
    link.href = root + hit.entry.address;
    for (const [name, text] of [['name', hit.entry.name], ['kind', hit.entry.kind], ['excerpt', excerpt(hit)]]) {
      const part = document.createElement('span');
      part.className = name;
      part.textContent = text;
      link.append(part, ' ');
    }
    item.append(link);
    return item;
  }

  function show() {
    const wanted = box.value.trim();
    panel.hidden = wanted === '' || !entries;
    if (panel.hidden) {
      return;
    }
    const hits = find(wanted);
    const list = document.createElement('ol');
    list.append(...hits.slice(0, shownAtMost).map(row));
    const count = document.createElement('p');
    count.setAttribute('role', 'status');
    count.textContent = hits.length === 0 ? `Nothing found for “${wanted}”.`
        : hits.length > shownAtMost ? `The first ${shownAtMost} of ${hits.length} results`
        : `${hits.length} result${hits.length === 1 ? '' : 's'}`;
    panel.replaceChildren(count, list);
    panel.scrollTop = 0;
  }

  function load() {
    if (entries || document.getElementById('search-index')) {
      return;
    }
    const index = document.createElement('script');
    index.id = 'search-index';
    index.src = root + 'search_index.js';
    index.onload = () => {
      entries = window.manualIndex.map(([name, address, kind, text]) => ({
        name, address, kind, text, low: text.toLowerCase(),
        isPage: !address.includes('_8h'), isValue: kind.startsWith('value of'),
        isAside: /^(architecture|bench_results|changelog|contributing)/.test(address)}));
      show();
    };
    document.head.append(index);
  }

  function close() {
    panel.hidden = true;
  }

  // The arrow keys go through the results, and back into the box.
  function move(event) {
    if (event.key === 'Escape') {
      close();
      box.focus();
    } else if (event.key === 'ArrowDown' || event.key === 'ArrowUp') {
      const stops = [box, ...panel.querySelectorAll('a')];
      const next = stops.indexOf(document.activeElement) + (event.key === 'ArrowDown' ? 1 : -1);
      stops[Math.max(0, Math.min(next, stops.length - 1))].focus();
      event.preventDefault();
    }
  }

  document.addEventListener('DOMContentLoaded', () => {
    const form = document.getElementById('search');
    box = document.getElementById('search-box');
    panel = document.createElement('div');
    panel.id = 'search-results';
    panel.hidden = true;
    panel.tabIndex = -1;
    document.body.append(panel);
    box.addEventListener('focus', load);
    box.addEventListener('focus', show);
    box.addEventListener('input', show);
    form.addEventListener('keydown', move);
    panel.addEventListener('keydown', move);
    panel.addEventListener('click', (event) => event.target.closest('a') && close());
    form.addEventListener('submit', (event) => {
      event.preventDefault();
      panel.querySelector('a')?.click();
    });
    document.addEventListener('click', (event) => {
      if (!form.contains(event.target) && !panel.contains(event.target)) {
        close();
      }
    });
    document.addEventListener('keydown', (event) => {
      if (event.key === '/' && !/^(INPUT|TEXTAREA|SELECT)$/.test(document.activeElement.tagName)) {
        box.focus();
        event.preventDefault();
      }
    });
  });
})();
