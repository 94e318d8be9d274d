// Where the links of the manual's pages lead to, and whether that is there.
import {existsSync, readFileSync, statSync} from 'node:fs';
import {join} from 'node:path';
import {fileURLToPath, pathToFileURL} from 'node:url';

// The links of each page that lead nowhere: to no file, outside of the manual, or to no anchor.
export function brokenLinks(folder, looks) {
  const root = pathToFileURL(folder).href + '/';
  const found = new Map();
  for (const [file, {links}] of looks) {
    const broken = [...links].filter((link) => link.startsWith('file:') && !leadsSomewhere(link, root, looks));
    found.set(file, broken.map((link) => `leads nowhere: ${link.replace(root, '')}`));
  }
  return found;
}

function leadsSomewhere(link, root, looks) {
  const [address, anchor] = link.split('#');
  const file = fileURLToPath(address);
  if (!address.startsWith(root) || !existsSync(file) || !statSync(file).isFile()) {
    return false;
  }
  return !anchor || !file.endsWith('.html') || Boolean(looks.get(file)?.anchors.has(decodeURIComponent(anchor)));
}

// The addresses that are in scripts and not on pages: those of the tree and of the search.
export function scriptedLinks(folder, names) {
  const links = new Set();
  for (const name of names) {
    const text = readFileSync(join(folder, name), 'utf8');
    for (const [, address] of text.matchAll(/"([\w.-]+\.html(?:#[^"]*)?)"/g)) {
      links.add(pathToFileURL(folder).href + '/' + address);
    }
  }
  return links;
}
