// Asks the server. The token comes with the address, behind "#", and stays in this tab.

const key = 'commonctl-token';

function takeToken() {
  const given = /^#token=([0-9a-f]+)$/.exec(location.hash);
  if (given) {
    sessionStorage.setItem(key, given[1]);
    history.replaceState(null, '', location.pathname);
  }
  return sessionStorage.getItem(key);
}

const token = takeToken();

export class Refused extends Error {
  constructor(status, text) {
    super(text);
    this.status = status;
  }
}

async function ask(path, options = {}) {
  const headers = {...options.headers, ...(token ? {Authorization: `Bearer ${token}`} : {})};
  const answer = await fetch(path, {...options, headers, cache: 'no-store'});
  if (!answer.ok) {
    const {error} = await answer.json().catch(() => ({}));
    throw new Refused(answer.status, error ?? `the server answers with ${answer.status}`);
  }
  return answer;
}

export async function get(path, signal) {
  return (await ask(path, {signal})).json();
}

// Gives the answer itself, as not all are JSON.
export function post(path, type, body) {
  return ask(path, {method: 'POST', body, headers: {'Content-Type': type, 'X-Commonctl': 'page'}});
}
