'use strict';
// The page of a gateway. Everything that routers and people named is shown as text, never as HTML.
// #token=T opens it with a token, #SERIAL shows one router.

const byId = id => document.getElementById(id);
const everySeconds = 5, rowsShown = 100;
let token = sessionStorage.getItem('token') || '';
let functions = null, allowAsk = false, offset = 0, chosen = {}, timer = 0;

function make(name, text, ...children) {
  const element = document.createElement(name);
  if (text !== undefined && text !== null) element.textContent = text;
  element.append(...children);
  return element;
}

async function get(path) {
  const response = await fetch(path, {headers: {Authorization: 'Bearer ' + token}});
  const data = await response.json();
  if (!response.ok) throw Object.assign(new Error(data.error.sentence), {status: response.status});
  return data;
}

function show(name) {
  for (const id of ['login', 'fleet', 'router']) byId(id).hidden = id !== name;
}

function duration(seconds) {
  if (seconds < 120) return seconds + ' s';
  if (seconds < 7200) return Math.floor(seconds / 60) + ' min';
  return seconds < 172800 ? Math.floor(seconds / 3600) + ' h' : Math.floor(seconds / 86400) + ' d';
}
const ago = time => duration(Math.max(0, Math.floor(Date.now() / 1000 - time)));

// ---- The fleet

function countTable(title, member, rows) {
  const body = make('tbody');
  for (const row of rows.slice(0, 12)) {
    const button = make('button', row.value || '(unknown)');
    button.type = 'button';
    button.onclick = () => { chosen[member] = row.value; offset = 0; refresh(); };
    const count = make('td', row.count);
    count.className = 'number';
    body.append(make('tr', null, make('td', null, button), count));
  }
  if (rows.length > 12) body.append(make('tr', null, make('td', (rows.length - 12) + ' more')));
  return make('table', null, make('caption', title), body);
}

function showChosen() {
  byId('chosen').replaceChildren(...Object.keys(chosen).map(member => {
    const button = make('button', member + ' ' + (chosen[member] || '(unknown)') + ' ✕ ');
    button.type = 'button';
    button.onclick = () => { delete chosen[member]; offset = 0; refresh(); };
    return button;
  }));
}

async function showFleet(summary) {
  const query = new URLSearchParams({offset, limit: rowsShown, ...chosen});
  const search = byId('filter').elements.search.value;
  if (search) query.set('search', search);
  const found = await get('api/routers?' + query);
  byId('counts').replaceChildren(countTable('version', 'version', summary.versions),
    countTable('model', 'model', summary.models), countTable('last report', 'report', summary.reports),
    countTable('gateway', 'gateway', summary.gateways));
  showChosen();
  byId('routers').tBodies[0].replaceChildren(...found.routers.map(router => {
    const link = make('a', router.serial);
    link.href = '#' + router.serial;
    const report = router.report ? router.report + ', ' + ago(router.report_time) + ' ago' : '';
    return make('tr', null, make('td', null, link), ...[router.name, router.model, router.version, router.address,
      router.gateway, ago(router.since), report].map(text => make('td', text)));
  }));
  byId('range').textContent = found.total
    ? `${offset + 1} to ${offset + found.routers.length} of ${found.total}` : 'no routers';
  byId('back').disabled = offset === 0;
  byId('forth').disabled = offset + found.routers.length >= found.total;
  show('fleet');
}

// ---- One router

function showDevices(reports) {
  const list = reports.find(report => report.report === 'device-list');
  const devices = list && list.fields ? list.fields.devices : [];
  const columns = devices.length ? Object.keys(devices[0]) : [];
  const number = value => typeof value === 'number';
  const cell = (kind, value, text) => {
    const data = make(kind, text);
    if (number(value)) data.className = 'number';
    return data;
  };
  byId('devices').tHead.replaceChildren(make('tr', null, ...columns.map(name => cell('th', devices[0][name], name))));
  byId('devices').tBodies[0].replaceChildren(...devices.map(device =>
    make('tr', null, ...columns.map(name => cell('td', device[name], device[name])))));
  const sum = name => devices.reduce((total, device) => total + (number(device[name]) ? device[name] : 0), 0);
  byId('rates').textContent = list
    ? `${devices.length} devices, together ${sum('up')} up and ${sum('down')} down, in the router's unit`
    : 'There is no report of the devices yet.';
}

async function showRouter(serial) {
  const router = await get('api/routers/' + encodeURIComponent(serial));
  byId('serial').textContent = serial;
  const facts = {state: router.online ? 'online for ' + ago(router.since) : 'offline', name: router.name,
    model: router.model, version: router.version, MAC: router.mac, address: router.address, gateway: router.gateway};
  byId('facts').replaceChildren(...Object.entries(facts).flatMap(([name, text]) => [make('dt', name), make('dd', text)]));
  showDevices(router.reports);
  const open = new Set([...document.querySelectorAll('#reports details[open]')].map(item => item.dataset.name));
  byId('reports').replaceChildren(...router.reports.map(report => {
    const time = report.time ? new Date(report.time * 1000).toISOString().slice(0, 19) + 'Z' : '';
    const title = [report.report, time, report.meaning].filter(text => text).join(', ');
    const details = make('details', null, make('summary', title), make('pre', JSON.stringify(report, null, 2)));
    details.dataset.name = report.report;
    details.open = open.has(report.report);
    return details;
  }));
  byId('asking').hidden = !allowAsk;
  if (allowAsk && !functions) await readFunctions();
  show('router');
}

// ---- The form

function input(parameter) {
  const field = make(parameter.values ? 'select' : 'input');
  field.name = parameter.name;
  if (parameter.values) {
    if (!parameter.required) field.append(make('option', ''));
    field.append(...parameter.values.map(value => make('option', value)));
  } else {
    field.required = parameter.required;
    if (parameter.initial !== undefined) field.placeholder = parameter.initial;
    if (parameter.type === 'number') field.inputMode = 'numeric';
  }
  const about = parameter.about + (parameter.unit ? ', ' + parameter.unit : '');
  return make('label', parameter.name + ' ', field, make('small', ' ' + about));
}

const chosenFunction = () => functions.find(row => row.name === byId('ask').elements.function.value);

function showForm() {
  byId('summary').textContent = chosenFunction().summary;
  byId('parameters').replaceChildren(...chosenFunction().parameters.map(input));
}

async function readFunctions() {
  functions = await get('api/functions');
  byId('ask').elements.function.replaceChildren(...functions.map(row => make('option', row.name)));
  showForm();
}

// Numbers go as they are typed: those of 64 bits would lose digits as JavaScript's.
function parametersText() {
  const members = [];
  for (const parameter of chosenFunction().parameters) {
    const value = byId('parameters').querySelector(`[name="${parameter.name}"]`).value;
    if (value === '' && !parameter.required) continue;
    const number = parameter.type === 'number' && !parameter.values && /^-?(0|[1-9][0-9]*)$/.test(value);
    members.push(JSON.stringify(parameter.name) + ':' + (number ? value : JSON.stringify(value)));
  }
  return '{' + members.join(',') + '}';
}

async function ask() {
  const answer = byId('answer');
  answer.textContent = '...';
  const body = `{"serial":${JSON.stringify(byId('serial').textContent)},` +
    `"function":${JSON.stringify(chosenFunction().name)},"parameters":${parametersText()}}`;
  try {
    const response = await fetch('api/ask', {method: 'POST', body, headers: {Authorization: 'Bearer ' + token}});
    answer.textContent = await response.text(); // as it came: numbers of 64 bits are exact in the text alone
  } catch (error) {
    answer.textContent = error.message;
  }
}

// ---- What is shown

async function refresh() {
  clearTimeout(timer);
  try {
    const summary = await get('api/summary');
    sessionStorage.setItem('token', token);
    allowAsk = summary.allow_ask;
    byId('state').textContent = `${summary.online} online. ${summary.state}`;
    byId('state').className = summary.good ? '' : 'bad';
    const serial = decodeURIComponent(location.hash.slice(1));
    await (serial ? showRouter(serial) : showFleet(summary));
  } catch (error) {
    byId('state').textContent = error.message;
    byId('state').className = 'bad';
    if (error.status === 401 || error.status === 403) {
      byId('refusal').textContent = token ? error.message : '';
      show('login');
      return; // until a token is given
    }
  }
  timer = setTimeout(refresh, everySeconds * 1000);
}

function takeTokenOfAddress() {
  const given = /^#token=([^&]*)&?(.*)$/.exec(location.hash);
  if (!given) return;
  token = decodeURIComponent(given[1]);
  history.replaceState(null, '', '#' + given[2]); // so that it is not seen, nor kept with the address
}

byId('login').onsubmit = event => { event.preventDefault(); token = event.target.elements.token.value; refresh(); };
byId('filter').onsubmit = event => event.preventDefault();
byId('filter').oninput = () => { offset = 0; refresh(); };
byId('back').onclick = () => { offset = Math.max(0, offset - rowsShown); refresh(); };
byId('forth').onclick = () => { offset += rowsShown; refresh(); };
byId('ask').onsubmit = event => { event.preventDefault(); ask(); };
byId('ask').elements.function.onchange = showForm;
window.onhashchange = () => { takeTokenOfAddress(); byId('answer').textContent = ''; refresh(); };
takeTokenOfAddress();
refresh();
