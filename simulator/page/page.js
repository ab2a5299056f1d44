// Shows the messages of /events and sends commands of the house's language to /command.
'use strict';

const kMostRows = 1000, kShownRows = 300, kStripSeconds = 30, kTravelMs = 700;
const $ = id => document.getElementById(id);
const calm = matchMedia('(prefers-reduced-motion: reduce)');

let clock = 0;       // seconds of the house's clock when performance.now() was 0
let events = [];     // the newest last
let requests = [];   // times of the last 30 s: {time, is_poll}
let commanded = {};  // light: times of commands that no request has followed
let said = [];       // warnings and errors since the last fault
let state = {lights: [], objects: [], faults: {}};
let held = 0;        // messages since the pause

async function send(line) {
  const answer = await fetch('command', {method: 'POST', body: line}).catch(() => null);
  if (!answer || !answer.ok) {
    show('problem', answer && answer.status === 409 ? 'The tour is running.' : `Not sent: ${line}`);
  }
}

function show(id, text) {
  $(id).textContent = text;
  $(id).hidden = text === '';
}

// --- Colours, as numbers 0..1 of sRGB ---

function rgb_of_hsv(hue, saturation, value) {
  return [5, 3, 1].map(n => {
    const k = (n + hue * 6) % 6;
    return value * (1 - saturation * Math.max(0, Math.min(k, 4 - k, 1)));
  });
}

function hsv_of_rgb([r, g, b]) {
  const value = Math.max(r, g, b), range = value - Math.min(r, g, b);
  const hue = range === 0 ? 0 : value === r ? (g - b) / range : value === g ? 2 + (b - r) / range
    : 4 + (r - g) / range;
  return [(hue + 6) % 6 / 6, value === 0 ? 0 : range / value, value];
}

// The brightest colour of that chromaticity, through the matrix of IEC 61966-2-1.
function rgb_of_xy(x, y) {
  const [X, Y, Z] = [x / y, 1, (1 - x - y) / y];
  const linear = [3.2406 * X - 1.5372 * Y - 0.4986 * Z, -0.9689 * X + 1.8758 * Y + 0.0415 * Z,
    0.0557 * X - 0.2040 * Y + 1.0570 * Z].map(part => Math.max(part, 0));
  return linear.map(part => part / Math.max(...linear))
    .map(part => part <= 0.0031308 ? 12.92 * part : 1.055 * part ** (1 / 2.4) - 0.055);
}

// Black body; the cubic approximation of Kim et al. (US patent 7024034).
function rgb_of_mired(mired) {
  const t = mired / 1000, is_cold = mired < 250;
  const x = is_cold ? ((-3.0258469 * t + 2.1070379) * t + 0.2226347) * t + 0.24039
    : ((-0.2661239 * t - 0.2343589) * t + 0.8776956) * t + 0.17991;
  const y = is_cold ? ((3.081758 * x - 5.8733867) * x + 3.75112997) * x - 0.37001483
    : mired < 450 ? ((-0.9549476 * x - 1.37418593) * x + 2.09137015) * x - 0.16748867
      : ((-1.1063814 * x - 1.3481102) * x + 2.18555832) * x - 0.20219683;
  return rgb_of_xy(x, y);
}

function rgb_of_lamp({colormode, hue, sat, xy, ct}) {
  switch (colormode) {
    case 'hs': return rgb_of_hsv(hue / 65535, sat / 254, 1);
    case 'xy': return rgb_of_xy(...xy);
    default: return rgb_of_mired(ct || 366);
  }
}

const hex = number => Math.round(number).toString(16).padStart(2, '0');
const hex_of = numbers => '#' + numbers.map(part => hex(part * 255)).join('');
const numbers_of = text => text.match(/[0-9a-f]{2}/gi).map(part => parseInt(part, 16) / 255);

// --- Lamps and their controls ---

// A control as {type, ...attributes}, how a value becomes the control's, and the reverse.
const kSwitch = {type: 'checkbox', get: box => box.checked ? 1 : 0,
  set: (box, value) => { box.checked = Number(value) !== 0; }};
const slider = (min, max) => ({type: 'range', min, max, get: input => input.value,
  set: (input, value) => { input.value = value; }});
const kColour = {type: 'color', get: input => hex_of(hsv_of_rgb(numbers_of(input.value))).toUpperCase(),
  set: (input, value) => { input.value = hex_of(rgb_of_hsv(...numbers_of(value))); }};
const kRoles = {on_off: kSwitch, value: slider(0, 100), temperature: slider(0, 100),
  r: slider(0, 255), g: slider(0, 255), b: slider(0, 255), hsv: kColour};
// Members of a lamp's state: the control, the command for its value, and the value from the state.
const kMembers = {
  on: {kind: kSwitch, label: 'switch', line: value => value ? 'on' : 'off', of: lamp => Number(lamp.on)},
  bri: {kind: slider(0, 254), label: 'bri', line: value => `bri ${value}`, of: lamp => lamp.bri},
  ct: {kind: slider(153, 500), label: 'ct', line: value => `ct ${value}`, of: lamp => lamp.ct},
  hue: {kind: kColour, label: 'hue, sat', of: lamp => hex_of([lamp.hue / 65535, lamp.sat / 254, 1]),
    line: value => {
      const [hue, sat] = numbers_of(value);
      return `hue ${Math.round(hue * 65535)} sat ${Math.round(sat * 254)}`;
    }},
};

function add_control(parent, name, text, kind, change) {
  const label = document.createElement('label'), input = document.createElement('input');
  const {get, set, ...attributes} = kind;
  Object.assign(input, attributes);
  input.addEventListener('change', () => change(get(input)));
  input.setAttribute('aria-label', name);
  input.dataset.name = name;
  const value = document.createElement('output');
  label.append(text, input, value);
  parent.append(label);
  // A control keeps what a person chose until the house holds another value.
  return (current, shown) => {
    if (current !== '' && current !== input.dataset.held) {
      set(input, current);
      input.dataset.held = current;
    }
    value.textContent = shown;
  };
}

const cards = {};  // by light: its elements and the functions that update them

function card_of(light) {
  const card = $('lamp').content.firstElementChild.cloneNode(true);
  card.dataset.light = light.id;
  card.querySelector('h2').textContent = light.name;
  card.querySelector('.about').textContent = `light ${light.id}, ${light.modelid}, ${light.class}`;
  const objects = state.objects.filter(object => object.light === light.id).map(({id, role}) => {
    const update = add_control(card.querySelector('.core'), `object ${id}`, `${id} ${role}`,
      kRoles[role], value => send(`set ${id} ${value}`));
    return [id, update];
  });
  const members = Object.entries(kMembers).filter(([name]) => name in light.state)
    .map(([name, {kind, label, line}]) => [name, add_control(card.querySelector('.past'),
      `light ${light.id} ${name}`, label, kind, value => send(`bulb ${light.id} ${line(value)}`))]);
  $('lamps').append(card);
  return {card, objects: new Map(objects), members: new Map(members)};
}

function show_light(light) {
  const {card, objects, members} = cards[light.id] ||= card_of(light);
  const {on, bri, reachable, colormode, ct} = light.state;
  const is_lit = on && reachable, level = bri === undefined ? 1 : bri / 254;
  const colour = rgb_of_lamp(light.state);
  card.className = !reachable ? 'unreachable' : on ? 'on' : 'off';
  card.style.setProperty('--colour', hex_of(colour.map(part => part * (0.35 + 0.65 * level))));
  card.style.setProperty('--glow', `${is_lit ? 2 + 8 * level : 0}px`);
  const tone = {ct: () => `, ${Math.round(1e6 / ct)} K`, hs: () => `, ${hex_of(colour)}`};
  card.querySelector('.is').textContent = !reachable ? 'unreachable' : !on ? 'off'
    : 'on' + (bri === undefined ? '' : `, ${Math.round(level * 100)} %`) +
      (tone[colormode === 'xy' ? 'hs' : colormode]?.() || '');
  for (const [name, update] of members) {
    const value = kMembers[name].of(light.state);
    update(String(value), name === 'on' ? (value ? 'on' : 'off') : name === 'hue' ? '' : value);
  }
  for (const {id, value = '', is_reported} of state.objects) {
    objects.get(id)?.(value, value === '' ? 'unknown' : is_reported ? value : `${value} sent`);
  }
}

function show_state(message) {
  state = message;
  const ids = new Set(state.lights.map(({id}) => String(id)));
  for (const id of Object.keys(cards).filter(id => !ids.has(id))) {
    cards[id].card.remove();
    delete cards[id];
  }
  state.lights.forEach(show_light);
  $('daemon').hidden = state.touring;
  $('daemon').textContent = state.running ? 'Stop the daemon' : 'Start the daemon';
  $('tour').textContent = state.touring ? 'End the tour' : 'Watch the tour';
  document.body.classList.toggle('touring', state.touring);
  show('connection', state.running ? 'lumivad is running' : 'lumivad is not running');
  $('waiting').textContent = state.waiting;
  for (const button of $('faults').children) {
    const [part, fault] = button.dataset.fault.split(' ');
    button.setAttribute('aria-pressed', state.faults[part] === fault);
  }
  document.querySelectorAll('main fieldset, #faults button').forEach(item => {
    item.disabled = state.touring;
  });
  if (state.waiting === 0) {
    commanded = {};
  }
}

// --- The road ---

let travelling = 0;

function travel(from, to) {
  const [start, end] = [from, to].map(name => document.querySelector(`[data-station=${name}]`));
  end.classList.add('reached');
  setTimeout(() => end.classList.remove('reached'), kTravelMs);
  if (calm.matches || travelling > 12 || document.hidden) {
    return;
  }
  const dot = document.createElement('i');
  const place = station => ({left: `${station.offsetLeft + station.offsetWidth / 2}px`});
  start.parentElement.append(dot);
  ++travelling;
  dot.animate([place(start), place(end)], {duration: kTravelMs, easing: 'ease-in-out'})
    .onfinish = () => { dot.remove(); --travelling; };
}

function show_travel({direction, text}) {
  const ends = direction.split(' -> ');
  if (ends.length === 2 && ends.every(end => /core|daemon|bridge/.test(end))) {
    travel(...ends);
    $('message').textContent = `${direction}: ${text}`;
  } else if (text.startsWith('bulb ')) {
    travel('lamp', 'bridge');
    $('message').textContent = `past the daemon: ${text}`;
  }
  if (direction === 'bridge -> daemon' && text.includes('"success"')) {
    travel('bridge', 'lamp');
  }
}

// --- Events: pacing, what the daemon says, timeline ---

function take_event(event, is_old) {
  events.push(event);
  events.splice(0, events.length - kMostRows);
  const {direction, text, time, object} = event;
  const light = state.objects.find(({id}) => id === object)?.light;
  if (direction === 'daemon -> bridge') {
    requests.push({time, is_poll: text === 'GET /lights'});
    const put = text.match(/^PUT \/lights\/(\d+)\/state/);
    const start = put && commanded[put[1]]?.shift();
    if (start !== undefined && start !== null) {
      $('latency').textContent = `${Math.round((time - start) * 1000)} ms`;
    }
  } else if (direction === 'core -> daemon' && light) {
    (commanded[light] ||= []).push(time);
  } else if (direction === 'house' && /^(bridge|core): /.test(text)) {
    said = text.endsWith('restore') ? said : [];
  } else if (direction === 'log' && event.priority <= 4 && !event.routine && !said.includes(text)) {
    said = [text, ...said].slice(0, 6);
  }
  if (!is_old) {
    show_travel(event);
  }
}

function row_of({time, direction, text}) {
  const row = document.createElement('li');
  const [when, way, what] = ['time', 'b', 'span'].map(name => document.createElement(name));
  when.textContent = time.toFixed(3);
  way.textContent = direction;
  what.textContent = text;
  row.className = direction === 'log' ? text.split(':')[0] : 'message';
  row.append(when, way, what);
  return row;
}

function show_rows() {
  const wanted = $('search').value.toLowerCase();
  const [is_log_only, has_routine] = ['log-only', 'routine'].map(id => $(id).checked);
  const found = events.filter(({direction, text, routine}) => (has_routine || !routine) &&
    (!is_log_only || direction === 'log') && `${direction} ${text}`.toLowerCase().includes(wanted));
  $('rows').replaceChildren(...found.slice(-kShownRows).reverse().map(row_of));
}

function show_strip() {
  const now = clock + performance.now() / 1000;
  requests = requests.filter(({time}) => now - time < kStripSeconds);
  const bars = requests.map(({time, is_poll}) => {
    const x = 300 * (1 - (now - time) / kStripSeconds);
    return `M${x.toFixed(1)} 40V${is_poll ? 24 : 4}`;
  });
  $('strip').innerHTML = `<path d="${bars.join('') || 'M0 40'}"/>`;
  const gaps = requests.slice(1).map(({time}, i) => Math.round((time - requests[i].time) * 1000));
  $('strip').setAttribute('aria-label', `${requests.length} requests in the last 30 seconds`);
  $('distances').textContent = gaps.length === 0 ? 'No two requests'
    : `Shortest distance ${Math.min(...gaps)} ms; the last: ${gaps.slice(-6).join(', ')} ms`;
}

let is_stale = false;
setInterval(show_strip, 250);
setInterval(() => {
  const is_paused = $('pause').getAttribute('aria-pressed') === 'true';
  if (is_stale && !is_paused) {
    show_rows();
    is_stale = false;
    held = 0;
  }
  $('pause').textContent = is_paused ? `Go on (${held} new)` : 'Pause';
  $('said').replaceChildren(...(said.length ? said : ['nothing']).map(text => {
    const item = document.createElement('li');
    item.textContent = text;
    return item;
  }));
}, 150);

// --- The stream ---

const kTakers = {
  // Another house begins: its controls and values are new.
  house() {
    Object.keys(cards).forEach(id => delete cards[id]);
    $('lamps').replaceChildren();
    [said, commanded] = [[], {}];
  },
  hello(message) {
    kTakers.house();
    clock = message.now - performance.now() / 1000;
    [events, requests] = [[], []];
    show('missed', '');
    show('problem', '');
    is_stale = true;
  },
  event(message) {
    take_event(message, clock + performance.now() / 1000 - message.time > 2);
    ++held;
    is_stale = true;
  },
  state: show_state,
  dropped({text}) { show('missed', `${text} messages are missing: this browser was too slow.`); },
  problem({text}) { show('problem', text); },
  step({text}) { show('step', text.startsWith('say ') ? text.slice(4) : `${$('step').textContent.split(' > ')[0]} > ${text}`); },
};

const stream = new EventSource('events');
stream.onmessage = ({data}) => {
  const message = JSON.parse(data);
  kTakers[message.type](message);
};
stream.onerror = () => {
  show('connection', 'The house does not answer; trying again');
  document.querySelectorAll('main fieldset').forEach(item => { item.disabled = true; });
};

$('daemon').onclick = () => send(state.running ? 'stop' : 'start');
$('tour').onclick = () => send(state.touring ? 'end tour' : 'tour');
$('search').oninput = $('log-only').onchange = $('routine').onchange = show_rows;
$('pause').onclick = () => $('pause').setAttribute('aria-pressed',
  $('pause').getAttribute('aria-pressed') !== 'true');
$('faults').onclick = ({target}) => {
  const part = target.dataset.fault?.split(' ')[0];
  if (part) {
    show('problem', '');
    send(target.getAttribute('aria-pressed') === 'true' ? `${part} restore` : target.dataset.fault);
  }
};
