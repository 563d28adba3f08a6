// The start page's part, run by the browser in a world of its own: the page itself has no scripts. What groups
// and tabs are called is text of agents and web pages: it only ever becomes text.
const element = id => document.getElementById(id);
const icons = new Map();
let state, turn = 0, renaming = null, dragged = null;

const ask = async question =>
  JSON.parse(await window.webkit.messageHandlers.start.postMessage(JSON.stringify(question)));

const make = (name, text = '', attributes = {}) => {
  const made = document.createElement(name);
  made.textContent = text;
  return Object.assign(made, attributes);
};

const counted = (count, what) => `${count.toLocaleString()} ${what}${count === 1 ? '' : 's'}`;

// Does something and shows what came of it; a newer answer outruns an older one.
const act = async question => {
  const mine = ++turn;
  const answer = await ask(question);
  if (mine !== turn) return;
  if (answer.problem) {
    state.failure = {message: answer.problem};
  } else {
    state = answer;
  }
  draw();
};

const button = (text, title, work, style = '') => {
  const made = make('button', text, {title, className: style});
  if (title) made.setAttribute('aria-label', title);
  made.addEventListener('click', work);
  return made;
};

// What can be done to a thing, shown over its right end.
const tools = (...buttons) => {
  const made = make('span', '', {className: 'tools'});
  made.append(...buttons);
  return made;
};

const icon = tab => {
  const known = icons.get(tab.icon);
  if (known) return make('img', '', {src: known, alt: ''});
  const letter = make('i', [...(tab.site.replace(/^www\./, '') || tab.title)][0]?.toUpperCase() ?? '');
  letter.setAttribute('aria-hidden', 'true');
  return letter;
};

const groups = () => state.sections.filter(section => section.kind === 'group');

// Where a tab can go, in a menu beside it.
const openMenu = (tab, section, anchor) => {
  const menu = element('move');
  const entry = (text, question) => menu.append(button(text, '', () => {
    menu.hidePopover();
    act(question);
  }));
  menu.replaceChildren();
  for (const group of groups()) {
    if (group.groupID !== section.groupID) entry(`Move to “${group.title}”`, {ask: 'move', tab: tab.id, group: group.groupID});
  }
  entry('Add to New Group', {ask: 'moveToNew', tab: tab.id});
  if (section.kind === 'group') entry('Remove from Group', {ask: 'moveOut', tab: tab.id});
  menu.showPopover();
  const place = anchor.getBoundingClientRect(), size = menu.getBoundingClientRect();
  menu.style.position = 'fixed';
  menu.style.inset = 'auto';
  menu.style.left = `${Math.max(8, Math.min(place.right - size.width, innerWidth - size.width - 8))}px`;
  menu.style.top = `${Math.max(8, Math.min(place.bottom + 4, innerHeight - size.height - 8))}px`;
  menu.querySelector('button').focus();
};

const row = (tab, section) => {
  const item = make('li');
  const open = button('', '', () => act({ask: 'show', tab: tab.id}), 'open');
  open.title = `${tab.title}\n${tab.address}`;
  open.append(icon(tab), make('span', tab.title));
  item.append(open);
  if (section.kind === 'agent') return item;
  const menu = button('⋯', 'Move this tab', () => openMenu(tab, section, menu));
  item.append(tools(menu));
  item.draggable = true;
  item.addEventListener('dragstart', event => {
    dragged = tab.id;
    event.dataTransfer.effectAllowed = 'move';
    event.dataTransfer.setData('text/plain', tab.title);
  });
  item.addEventListener('dragend', () => { dragged = null; });
  return item;
};

const title = section => {
  if (renaming !== section.groupID) {
    const heading = make('h2', section.title, {title: section.rationale});
    if (section.kind === 'group') heading.addEventListener('dblclick', () => rename(section.groupID));
    return heading;
  }
  const input = make('input', '', {value: section.title, maxLength: 200});
  input.setAttribute('aria-label', 'Name of the group');
  let done = false;
  const end = keep => {
    if (done) return;
    done = true;
    renaming = null;
    if (keep && input.value.trim() !== section.title) act({ask: 'rename', group: section.groupID, name: input.value});
    else draw();
  };
  input.addEventListener('keydown', event => {
    if (event.isComposing) return;
    if (event.key === 'Enter') end(true);
    if (event.key === 'Escape') end(false);
  });
  input.addEventListener('blur', () => end(true));
  return input;
};

const rename = group => {
  renaming = group;
  draw();
  const input = document.querySelector('.card input');
  input?.focus();
  input?.select();
};

const card = section => {
  const made = make('section', '', {className: `card ${section.kind}`});
  const head = make('div');
  made.setAttribute('aria-label', section.title);
  head.append(title(section));
  if (section.comparable) {
    head.append(make('span', 'alternatives', {className: 'mark', title: 'Alternatives of one kind to choose between'}));
  }
  if (section.kind === 'group') {
    made.setAttribute('aria-expanded', String(!section.collapsed));
    const fold = button(section.collapsed ? '▸' : '▾', section.collapsed ? 'Show the tabs' : 'Fold the tabs away',
                        () => act({ask: 'collapse', group: section.groupID, on: !section.collapsed}), 'fold');
    head.append(tools(
      fold, button('✎', 'Rename the group', () => rename(section.groupID)),
      button('✕', `Close ${counted(section.count, 'tab')}`, () => act({ask: 'closeGroup', group: section.groupID}))));
    made.addEventListener('dragover', event => {
      if (!dragged) return;
      event.preventDefault();
      made.classList.add('over');
    });
    made.addEventListener('dragleave', () => made.classList.remove('over'));
    made.addEventListener('drop', event => {
      event.preventDefault();
      if (dragged) act({ask: 'move', tab: dragged, group: section.groupID});
    });
  }
  made.append(head);
  const note = section.collapsed ? counted(section.count, 'tab') : section.intent || (section.kind === 'group' ? '' : section.rationale);
  if (note) made.append(make('p', note, {className: 'intent', title: section.rationale}));
  if (section.collapsed) return made;
  const list = make('ol');
  list.append(...section.tabs.map(tab => row(tab, section)));
  made.append(list);
  if (section.count > section.tabs.length) {
    made.append(make('p', `and ${counted(section.count - section.tabs.length, 'more tab')}`, {className: 'more'}));
  }
  return made;
};

// The keyboard stays where it was when the page is drawn again.
const place = () => [...document.querySelectorAll('button, input, summary')].indexOf(document.activeElement);

const draw = () => {
  if (renaming && document.querySelector('.card input') && groups().some(group => group.groupID === renaming)) return;
  document.body.classList.remove('waiting');
  const focus = place();
  const {activity, failure} = state;
  const busy = activity.kind !== 'idle';
  element('when').textContent = state.groupedAt
    ? `Grouped ${new Date(state.groupedAt * 1000).toLocaleString(undefined, {dateStyle: 'medium', timeStyle: 'short'})}` : '';
  element('automatic').firstElementChild.checked = state.automatic;
  element('undo').hidden = !state.canUndo;
  element('regroup').disabled = busy || state.groupable < 3;
  element('regroup').title = state.groupable < 3 ? 'There is something to group from three open pages on.' : '';
  element('activity').hidden = !busy;
  element('activity').firstElementChild.textContent = activity.kind === 'assigning'
    ? `Placing ${counted(activity.count, 'tab')}…` : `Grouping ${counted(activity.count, 'tab')}…`;
  element('failure').hidden = !failure || busy;
  if (failure) {
    element('failure').firstElementChild.textContent = failure.message;
    element('failure').querySelector('details').hidden = !failure.response;
    element('failure').querySelector('pre').textContent = failure.response ?? '';
  }
  element('storage').hidden = !state.storage;
  element('storage').textContent = state.storage ?? '';
  element('offer').hidden = state.automatic || groups().length > 0 || busy || state.groupable < 3;
  element('prompt').hidden = state.groupable < 3;
  const shown = state.sections.map(section => card(
    section.kind === 'pending' && !state.groupedAt && !groups().length ? {...section, title: 'Not grouped yet', rationale: ''} : section));
  if (!shown.length) {
    const empty = make('p', '', {className: 'empty'});
    empty.append(make('strong', 'Where to?'), 'Type an address or a few words above. Once a few pages are open, they are ' +
                                              'listed here, sorted by what you are doing.');
    shown.push(empty);
  }
  element('sections').replaceChildren(...shown);
  if (focus >= 0) document.querySelectorAll('button, input, summary')[focus]?.focus();
  fetchIcons();
};

const fetchIcons = async () => {
  const wanted = new Map();
  for (const {tabs} of state.sections) {
    for (const tab of tabs) if (tab.icon && !icons.has(tab.icon)) wanted.set(tab.icon, tab.id);
  }
  if (!wanted.size) return;
  // What does not come now is not asked for again.
  for (const key of wanted.keys()) icons.set(key, '');
  const answer = await ask({ask: 'icons', tabs: [...wanted.values()]});
  for (const [key, data] of Object.entries(answer.icons ?? {})) icons.set(key, data);
  draw();
};

const showPrompt = async () => {
  if (!element('prompt').open) return;
  element('prompt').querySelector('pre').textContent = (await ask({ask: 'prompt'})).prompt;
};

element('automatic').firstElementChild.addEventListener('change', event => act({ask: 'automatic', on: event.target.checked}));
element('undo').addEventListener('click', () => act({ask: 'undo'}));
element('regroup').addEventListener('click', () => act({ask: 'regroup'}));
element('turnOn').addEventListener('click', () => act({ask: 'automatic', on: true}));
document.querySelector('#offer .once').addEventListener('click', () => act({ask: 'regroup'}));
element('activity').lastElementChild.addEventListener('click', () => act({ask: 'cancel'}));
element('failure').lastElementChild.addEventListener('click', () => act({ask: 'regroup'}));
element('prompt').addEventListener('toggle', showPrompt);
document.addEventListener('visibilitychange', () => { if (!document.hidden) globalThis.refresh(); });
globalThis.refresh = async () => {
  await act({ask: 'state'});
  await showPrompt();
};
await globalThis.refresh();
