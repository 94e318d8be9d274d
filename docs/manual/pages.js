// What Doxygen's pages lack for those who use no mouse or do not see the pictures.
'use strict';
(() => {
  // What scrolls can be reached by keys.
  function reachable() {
    for (const part of document.querySelectorAll('#doc-content, .contents :is(pre, div, table, tbody, td, ul)')) {
      if (part.scrollWidth > part.clientWidth + 1 || part.scrollHeight > part.clientHeight + 1) {
        if (/auto|scroll/.test(getComputedStyle(part).overflow)) {
          part.tabIndex = 0;
        }
      }
    }
  }

  window.addEventListener('load', () => {
    // A picture's words are inside of it, where browsers look only when they cannot show it.
    for (const picture of document.querySelectorAll('object')) {
      picture.setAttribute('aria-label', picture.textContent.trim() || 'picture');
    }
    reachable();
    window.addEventListener('resize', reachable);
  });
})();
