// The bookmarks page's part, run by the browser in a world of its own: the page itself has no scripts. What
// bookmarks and folders are called is text of web pages and other programs: it only ever becomes text.
const pause = 150;
const element = id => document.getElementById(id);
const search = element('search'), list = element('list'), notice = element('notice');
let state = {folders: [], bookmarks: []}, folder = '', turn = 0, limit = 500, editing = null, naming = null, dragged = null;

const ask = async question => {
  const answer = JSON.parse(await window.webkit.messageHandlers.bookmarks.postMessage(JSON.stringify(question)));
  if (answer.problem) throw new Error(answer.problem);
  return answer;
};

const make = (name, text = '', attributes = {}) => {
  const made = document.createElement(name);
  made.textContent = text;
  return Object.assign(made, attributes);
};

const button = (text, work, title = '') => {
  const made = make('button', text, {type: 'button', title});
  if (title) made.setAttribute('aria-label', title);
  made.addEventListener('click', work);
  return made;
};

const tell = (text, undo = false) => {
  notice.firstElementChild.textContent = text;
  notice.lastElementChild.hidden = !undo;
  notice.hidden = !text;
};

// What goes wrong is told where it was asked.
const attempt = work => async (...values) => {
  try {
    await work(...values);
  } catch (error) {
    tell(error.message);
  }
};

const counted = (count, what) => `${count.toLocaleString()} ${what}${count === 1 ? '' : 's'}`;
const nameOf = path => state.folders.find(one => one.path === path)?.name ?? path;
const parentOf = path => path.includes(' › ') ? path.slice(0, path.lastIndexOf(' › ')) : '';
const isWithin = (path, outer) => path === outer || path.startsWith(`${outer} › `);

const act = attempt(async (question, said = '', undo = false) => {
  await ask(question);
  await show();
  tell(said, undo);
});

const folderChoice = chosen => {
  const select = make('select');
  for (const one of state.folders) {
    const option = make('option', one.path || one.name, {value: one.path});
    option.selected = one.path === chosen;
    select.append(option);
  }
  return select;
};

const field = (form, text, input) => {
  const id = `field-${text}`;
  form.append(make('label', text, {htmlFor: id}), Object.assign(input, {id}));
  return input;
};

const editor = bookmark => {
  const item = make('li');
  const form = make('form', '', {className: 'edit'});
  const title = field(form, 'Name', make('input', '', {value: bookmark.title, maxLength: 500}));
  const url = field(form, 'Address', make('input', '', {value: bookmark.url, spellcheck: false}));
  const choice = field(form, 'Folder', folderChoice(bookmark.folder));
  const problem = make('p', '', {className: 'problem', hidden: true});
  problem.setAttribute('role', 'alert');
  const row = make('div', '', {className: 'row'});
  const close = () => {
    editing = null;
    return show();
  };
  row.append(button('Cancel', close), make('button', 'Save', {className: 'strong'}));
  form.append(problem, row);
  form.addEventListener('submit', async event => {
    event.preventDefault();
    try {
      await ask({...(bookmark.id ? {ask: 'edit', id: bookmark.id} : {ask: 'add'}), title: title.value, url: url.value, folder: choice.value});
      await close();
    } catch (error) {
      problem.textContent = error.message;
      problem.hidden = false;
    }
  });
  form.addEventListener('keydown', event => { if (event.key === 'Escape') close(); });
  item.append(form);
  return item;
};

const edit = (bookmark, item) => {
  if (editing) return;
  editing = bookmark;
  const form = editor(bookmark);
  item.replaceWith(form);
  form.querySelector('input').select();
};

const isSearch = () => search.value.trim() !== '';

// By steps of one, for the keyboard.
const step = (bookmark, steps) => {
  const at = state.bookmarks.findIndex(one => one.id === bookmark.id), to = at + steps;
  if (isSearch() || to < 0 || to >= state.bookmarks.length) return;
  const before = state.bookmarks[steps > 0 ? to + 1 : to]?.id;
  act({ask: 'move', id: bookmark.id, folder, ...(before && {before})})
    .then(() => list.querySelectorAll('li a')[to]?.focus());
};

const row = bookmark => {
  const item = make('li', '', {className: 'mark', draggable: !isSearch()});
  const link = make('a', bookmark.title, {title: bookmark.url, rel: 'noreferrer', draggable: false});
  if (bookmark.opens) link.href = bookmark.url;
  link.setAttribute('aria-keyshortcuts', 'Alt+ArrowUp Alt+ArrowDown');
  const place = isSearch() && bookmark.folder ? ` · ${bookmark.folder}` : '';
  item.append(link, make('span', bookmark.site + place, {className: 'site'}),
              button('Edit', () => edit(bookmark, item), `Edit ${bookmark.title}`),
              button('Remove', () => act({ask: 'remove', id: bookmark.id}, 'Bookmark removed.', true), `Remove ${bookmark.title}`));
  item.addEventListener('keydown', event => {
    if (!event.altKey || !['ArrowUp', 'ArrowDown'].includes(event.key)) return;
    event.preventDefault();
    step(bookmark, event.key === 'ArrowUp' ? -1 : 1);
  });
  item.addEventListener('dragstart', event => {
    dragged = {bookmark};
    event.dataTransfer.effectAllowed = 'move';
    event.dataTransfer.setData('text/uri-list', bookmark.url);
  });
  dropOn(item, 'dropBefore', () => dragged.bookmark && dragged.bookmark.id !== bookmark.id && !isSearch(),
         () => act({ask: 'move', id: dragged.bookmark.id, folder, before: bookmark.id}));
  return item;
};

const dropOn = (target, style, fits, drop) => {
  target.addEventListener('dragover', event => {
    if (!dragged || !fits()) return;
    event.preventDefault();
    target.classList.add(style);
  });
  target.addEventListener('dragleave', () => target.classList.remove(style));
  target.addEventListener('drop', event => {
    event.preventDefault();
    target.classList.remove(style);
    if (dragged && fits()) drop();
    dragged = null;
  });
};

const open = path => {
  folder = path;
  limit = 500;
  search.value = '';
  editing = naming = null;
  tell('');
  return show();
};

// A field in place of the folder's name, or below the list for a new one.
const nameFolder = (question, value, after) => {
  const form = make('form'), item = make('li');
  const input = make('input', '', {value, maxLength: 100, placeholder: 'Name of the folder'});
  input.setAttribute('aria-label', 'Name of the folder');
  form.append(input);
  item.append(form);
  naming = item;
  let done = false;
  const close = attempt(async keep => {
    if (done) return;
    done = true;
    naming = null;
    const name = input.value.trim();
    try {
      if (keep && name && name !== value) folder = (await ask({...question, name})).folder;
    } finally {
      await show();
    }
  });
  form.addEventListener('submit', event => {
    event.preventDefault();
    close(true);
  });
  input.addEventListener('keydown', event => { if (event.key === 'Escape') close(false); });
  input.addEventListener('blur', () => close(true));
  after(item);
  input.select();
  input.focus();
};

const folderRow = one => {
  const item = make('li');
  const made = button('', () => open(one.path), '');
  made.append(make('span', one.name), make('span', one.count ? one.count.toLocaleString() : ''));
  made.style.paddingLeft = `${0.8 + Math.max(0, one.depth - 1) * 0.9}rem`;
  made.title = one.path || one.name;
  if (one.path === folder && !isSearch()) made.setAttribute('aria-current', 'true');
  if (one.path) {
    item.draggable = true;
    item.addEventListener('dragstart', event => {
      dragged = {folder: one.path};
      event.dataTransfer.effectAllowed = 'move';
      event.dataTransfer.setData('text/plain', one.name);
    });
  }
  dropOn(item, 'dropInto', () => dragged.bookmark ? dragged.bookmark.folder !== one.path
                                                  : !isWithin(one.path, dragged.folder) && parentOf(dragged.folder) !== one.path,
         () => dragged.bookmark ? act({ask: 'move', id: dragged.bookmark.id, folder: one.path})
                                : act({ask: 'moveFolder', folder: dragged.folder, parent: one.path}));
  item.append(made);
  return item;
};

const removeFolder = attempt(async (path, keep) => {
  const name = nameOf(path);
  const {count} = await ask({ask: 'removeFolder', folder: path, keep});
  folder = parentOf(path);
  await show();
  tell(count ? `“${name}” removed with ${counted(count, 'bookmark')}.` : `“${name}” removed.`, true);
});

const drawHeading = () => {
  const tools = element('tools');
  element('heading').firstElementChild.textContent = isSearch() ? `Found for “${search.value.trim()}”` : nameOf(folder);
  tools.replaceChildren();
  if (isSearch()) return;
  const count = state.bookmarks.length;
  if (count) {
    const openAll = button('Open All', () => {
      if (count > 15 && openAll.textContent === 'Open All') {
        openAll.textContent = `Open ${counted(Math.min(count, 100), 'tab')}?`;
      } else {
        act({ask: 'openAll', folder});
      }
    });
    tools.append(openAll);
  }
  tools.append(button('Add Bookmark', () => {
    if (editing) return;
    editing = {folder};
    const form = editor({title: '', url: '', folder});
    const rows = list.querySelector('ol') ?? list.appendChild(make('ol'));
    list.querySelector('.empty')?.remove();
    rows.prepend(form);
    form.querySelector('input').focus();
  }));
  if (!folder) return;
  tools.append(button('Rename', () => nameFolder({ask: 'renameFolder', folder}, nameOf(folder),
                                                 item => element('folders').querySelector('[aria-current]').parentElement.replaceWith(item))));
  const holdsSome = count || state.folders.some(one => one.path !== folder && isWithin(one.path, folder));
  if (holdsSome) {
    tools.append(button('Dissolve', () => removeFolder(folder, true), 'Remove the folder and move what is in it up'));
  }
  tools.append(button('Remove Folder', () => removeFolder(folder, false)));
};

const empty = (title, text) => {
  const made = make('p', '', {className: 'empty'});
  made.append(make('strong', title), text);
  return made;
};

const draw = () => {
  element('storage').hidden = !state.storage;
  element('storage').textContent = state.storage ?? '';
  element('folders').replaceChildren(...state.folders.map(folderRow));
  drawHeading();
  if (state.bookmarks.length) {
    const rows = make('ol');
    rows.append(...state.bookmarks.map(row));
    list.replaceChildren(rows);
    if (state.more) {
      list.append(button('Show More', () => {
        limit = 5000;
        show();
      }));
    }
  } else if (isSearch()) {
    list.replaceChildren(empty('Nothing found', `No bookmark has all the words of “${search.value.trim()}”.`));
  } else if (!state.total) {
    list.replaceChildren(empty('No bookmarks yet', 'Press Ctrl+D, or the star beside the address, on a page that you want to ' +
                                                   'find again. Import… brings the bookmarks of another browser.'));
  } else {
    list.replaceChildren(empty('Nothing in this folder', 'Drag bookmarks here, or choose this folder when you bookmark a page.'));
  }
};

const show = attempt(async () => {
  // What is being typed is not drawn over.
  if (editing || naming) return;
  const mine = ++turn;
  const text = search.value.trim();
  const answer = await ask({ask: 'list', limit, ...(text ? {text} : {folder})});
  if (mine !== turn || editing || naming) return;
  state = answer;
  if (!text && !state.folders.some(one => one.path === folder)) return open('');
  draw();
});

let waiting;
search.addEventListener('input', () => {
  editing = naming = null;
  clearTimeout(waiting);
  waiting = setTimeout(show, pause);
});
notice.lastElementChild.addEventListener('click', attempt(async () => {
  const {restored} = await ask({ask: 'undo'});
  await show();
  tell(restored ? 'Brought back.' : 'There is nothing to bring back any more.');
}));
element('import').addEventListener('click', attempt(() => ask({ask: 'import'})));
element('export').addEventListener('click', attempt(() => ask({ask: 'export'})));
element('newFolder').addEventListener('click', () => {
  search.value = '';
  nameFolder({ask: 'makeFolder', folder}, '', item => element('folders').append(item));
});
document.addEventListener('dragend', () => { dragged = null; });
globalThis.refresh = show;
search.focus();
await show();
