// A recorded state machine, as a picture.
import {post} from './api.js';

const byId = (id) => document.getElementById(id);

// As a picture, and not as a part of the page: nothing in it can run.
async function draw() {
  const problem = byId('machine-problem');
  try {
    const answer = await post('/api/machine', 'text/plain', byId('recording').value);
    const picture = URL.createObjectURL(new Blob([await answer.text()], {type: 'image/svg+xml'}));
    URL.revokeObjectURL(byId('save').href);
    byId('diagram').src = picture;
    await byId('diagram').decode();
    byId('save').href = picture;
    byId('figure').hidden = false;
    problem.hidden = true;
  } catch (error) {
    byId('figure').hidden = true;
    problem.textContent = error.message;
    problem.hidden = false;
  }
}

export function setUpMachine() {
  byId('machine').addEventListener('submit', (event) => {
    event.preventDefault();
    draw();
  });
  byId('recording-file').addEventListener('change', async ({target}) => {
    if (target.files.length > 0) {
      byId('recording').value = await target.files[0].text();
      draw();
    }
  });
}
