// The history page's part, run by the browser in a world of its own: the page itself has no scripts.
const limit = 200, pause = 150;
const element = id => document.getElementById(id);
const search = element('search'), list = element('list'), notice = element('notice'), clear = element('clear');
let turn = 0;

const ask = async question => {
  const answer = JSON.parse(await window.webkit.messageHandlers.history.postMessage(JSON.stringify(question)));
  if (answer.problem) throw new Error(answer.problem);
  return answer;
};

const make = (name, text = '', attributes = {}) => {
  const made = document.createElement(name);
  made.textContent = text;
  return Object.assign(made, attributes);
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

const remove = attempt(async question => {
  const answer = await ask(question);
  await show();
  tell(answer.removed ? `${counted(answer.removed, 'visit')} removed.` : 'There was nothing to remove.', answer.undo);
});

const row = (visit, withDay) => {
  const item = make('li');
  const time = new Date(visit.time * 1000);
  const day = withDay ? {dateStyle: 'medium'} : {};
  item.append(make('time', time.toLocaleString(undefined, {...day, timeStyle: 'short'}), {dateTime: time.toISOString()}));
  const link = make('a', visit.title || visit.url, {title: visit.url, rel: 'noreferrer'});
  let site = '';
  try {
    const address = new URL(visit.url);
    site = address.hostname;
    if (['http:', 'https:'].includes(address.protocol)) link.href = visit.url;
  } catch {}
  item.append(link, make('span', visit.count > 1 ? `${site} · ${visit.count} times` : site, {className: 'site'}));
  const button = (text, question) => {
    const made = make('button', text);
    made.addEventListener('click', () => remove(question));
    item.append(made);
  };
  button('Remove', {ask: 'removeVisit', id: visit.id, time: visit.time});
  if (site) button('Remove Site', {ask: 'removeSite', site});
  return item;
};

const rows = (visits, withDay = false) => {
  const made = make('ol');
  made.append(...visits.map(visit => row(visit, withDay)));
  return made;
};

const empty = (title, text) => {
  const made = make('p', '', {className: 'empty'});
  made.append(make('strong', title), text);
  return made;
};

const day = (entry, open) => {
  const made = make('details', '', {className: 'day', open});
  const [year, month, date] = entry.day.split('-').map(Number);
  const title = make('summary', new Date(year, month - 1, date).toLocaleDateString(undefined, {dateStyle: 'full'}));
  title.append(make('span', ` · ${counted(entry.visits, 'visit')}`));
  made.append(title);
  const fill = attempt(async () => {
    if (!made.open || made.querySelector('ol')) return;
    const answer = await ask({ask: 'visits', day: entry.day});
    if (!made.querySelector('ol')) made.append(rows(answer.visits));
  });
  made.addEventListener('toggle', fill);
  made.dataset.day = entry.day;
  return {made, fill};
};

const show = attempt(async () => {
  const mine = ++turn;
  const text = search.value.trim();
  const answer = await ask(text ? {ask: 'search', text, limit} : {ask: 'days'});
  if (mine !== turn) return;
  if (text) {
    const {visits} = answer;
    list.replaceChildren(visits.length ? rows(visits, true)
                                       : empty('Nothing found', `No visit has all the words of “${text}”.`));
    if (visits.length === limit) list.append(make('p', `These are the newest ${limit}. More words find fewer.`));
    return;
  }
  const opened = new Set([...list.querySelectorAll('.day[open]')].map(one => one.dataset.day));
  const days = answer.days.reverse().map((entry, i) => day(entry, opened.size ? opened.has(entry.day) : i === 0));
  list.replaceChildren(...days.map(one => one.made));
  if (!days.length) {
    list.append(empty('No visits yet', 'The pages that you open will be listed here, day by day, and can be searched by ' +
                                       'what they say. What you open in private windows is never kept.'));
  }
  await Promise.all(days.map(one => one.fill()));
});

let waiting;
search.addEventListener('input', () => {
  clearTimeout(waiting);
  waiting = setTimeout(show, pause);
});
notice.lastElementChild.addEventListener('click', attempt(async () => {
  tell('');
  const answer = await ask({ask: 'undo'});
  await show();
  tell(`${counted(answer.restored, 'visit')} brought back.`);
}));
for (const button of clear.querySelectorAll('button')) {
  button.addEventListener('click', () => {
    const question = 'Remove everything, for good?';
    if (button.dataset.range === 'everything' && button.textContent !== question) {
      button.textContent = question;
      return;
    }
    clear.open = false;
    remove({ask: 'removeRange', range: button.dataset.range});
  });
}
clear.addEventListener('toggle', () => {
  clear.querySelector('[data-range=everything]').textContent = 'Everything';
});
document.addEventListener('visibilitychange', () => {
  if (!document.hidden && !search.value) show();
});
search.focus();
show();
