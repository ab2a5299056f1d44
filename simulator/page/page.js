// Shows the messages of /events and sends commands of the house's language to /command.
'use strict';

const kMostEvents = 1000, kShownRows = 300, kStripSeconds = 30, kTravelMs = 700, kMostDots = 12;
const kNothing = {lights: [], objects: [], faults: {}};
const $ = id => document.getElementById(id);
const is_pressed = button => button.getAttribute('aria-pressed') === 'true';

let clock = 0;      // seconds of the house's clock when performance.now() was 0
let state = kNothing;
let events = [];    // the newest last
let requests = [];  // to the bridge, of the last 30 s
let commanded = {}; // by light: times of commands that no request has followed yet
let said = [];      // warnings and errors since the last fault
let held = 0;       // messages since the rows were shown

async function send(line) {
  show('problem', '');
  const answer = await fetch('command', {method: 'POST', body: line}).catch(() => null);
  if (!answer?.ok) {
    show('problem', answer?.status === 409 ? 'The tour is running.' : `Not sent: ${line}`);
  }
}

function show(id, text) {
  $(id).textContent = text;
  $(id).hidden = text === '';
}

function add(parent, tag, text, properties) {
  const element = Object.assign(document.createElement(tag), properties);
  element.append(text);
  parent.append(element);
  return element;
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

// The brightest colour of that chromaticity; the matrix and the curve are those of IEC 61966-2-1.
function rgb_of_xy(x, y) {
  const [X, Z] = [x / y, (1 - x - y) / y];
  const linear = [3.2406 * X - 1.5372 - 0.4986 * Z, -0.9689 * X + 1.8758 + 0.0415 * Z,
    0.0557 * X - 0.204 + 1.057 * Z].map(part => Math.max(part, 0));
  return linear.map(part => part / Math.max(...linear))
    .map(part => part <= 0.0031308 ? 12.92 * part : 1.055 * part ** (1 / 2.4) - 0.055);
}

// A black body of 1667 K to 25000 K; the cubic approximation of Kim et al., US patent 7024034.
function rgb_of_mired(mired) {
  const t = mired / 1000;
  const x = mired < 250 ? ((-3.0258469 * t + 2.1070379) * t + 0.2226347) * t + 0.24039
    : ((-0.2661239 * t - 0.2343589) * t + 0.8776956) * t + 0.17991;
  const y = mired < 250 ? ((3.081758 * x - 5.8733867) * x + 3.75112997) * x - 0.37001483
    : mired < 450 ? ((-0.9549476 * x - 1.37418593) * x + 2.09137015) * x - 0.16748867
      : ((-1.1063814 * x - 1.3481102) * x + 2.18555832) * x - 0.20219683;
  return rgb_of_xy(x, y);
}

function rgb_of_lamp({colormode, hue, sat, xy, ct = 366}) {
  return colormode === 'hs' ? rgb_of_hsv(hue / 65535, sat / 254, 1)
    : colormode === 'xy' ? rgb_of_xy(xy[0], xy[1] || 1e-9) : rgb_of_mired(ct);
}

const hex_of = parts => '#' + parts.map(
  part => Math.round(part * 255).toString(16).padStart(2, '0')).join('');
const parts_of = text => text.match(/[0-9a-f]{2}/gi).map(part => parseInt(part, 16) / 255);

// --- Lamps and their controls ---

// A kind of control: properties of its element, how to read a value from it, and how to set one.
const kSwitch = {type: 'checkbox', get: box => Number(box.checked),
  set: (box, value) => { box.checked = Number(value) !== 0; }};
const slider = (min, max) => ({type: 'range', min, max, get: input => input.value,
  set: (input, value) => { input.value = value; }});
const kColour = {type: 'color',  // the value is HSV
  get: input => hex_of(hsv_of_rgb(parts_of(input.value))).toUpperCase(),
  set: (input, value) => { input.value = hex_of(rgb_of_hsv(...parts_of(value))); }};
const kRoles = {on_off: kSwitch, value: slider(0, 100), temperature: slider(0, 100),
  r: slider(0, 255), g: slider(0, 255), b: slider(0, 255), hsv: kColour};
// By member of a lamp's state: its control, its value, and the change of the lamp for a value.
const kMembers = {
  on: {kind: kSwitch, of: ({on}) => Number(on), change: on => on ? 'on' : 'off'},
  bri: {kind: slider(0, 254), of: ({bri}) => bri, change: bri => `bri ${bri}`},
  ct: {kind: slider(153, 500), of: ({ct}) => ct, change: ct => `ct ${ct}`},
  hue: {kind: kColour, of: ({hue, sat}) => hex_of([hue / 65535, sat / 254, 1]), change: value => {
    const [hue, sat] = parts_of(value);
    return `hue ${Math.round(hue * 65535)} sat ${Math.round(sat * 254)}`;
  }},
};

// Returns the function that shows a value. The control keeps what a person chose until then.
function add_control(parent, text, name, {get, set, ...properties}, change) {
  const label = add(parent, 'label', text);
  const input = add(label, 'input', '', {...properties, onchange: () => change(get(input))});
  const output = add(label, 'output', '');
  input.dataset.name = name;
  return (value, shown) => {
    if (value !== '' && String(value) !== input.dataset.value) {
      set(input, value);
      input.dataset.value = value;
    }
    output.textContent = shown;
  };
}

let cards = {};  // by light: its element, and the functions that show values of objects and members

function card_of(light) {
  const card = $('lamp').content.firstElementChild.cloneNode(true);
  const [core, past] = card.querySelectorAll('fieldset');
  card.dataset.light = light.id;
  card.querySelector('h2').textContent = light.name;
  card.querySelector('.about').textContent = `light ${light.id}, ${light.modelid}, ${light.class}`;
  $('lamps').append(card);
  const objects = {}, members = {};
  for (const {id, role} of state.objects.filter(object => object.light === light.id)) {
    objects[id] = add_control(core, `${id} ${role}`, `object ${id}`, kRoles[role],
      value => send(`set ${id} ${value}`));
  }
  for (const name of Object.keys(kMembers).filter(member => member in light.state)) {
    members[name] = add_control(past, name, `light ${light.id} ${name}`, kMembers[name].kind,
      value => send(`bulb ${light.id} ${kMembers[name].change(value)}`));
  }
  return {card, objects, members};
}

function show_light({id, state: lamp, ...light}) {
  const {card, objects, members} = cards[id] ||= card_of({id, state: lamp, ...light});
  const level = (lamp.bri ?? 254) / 254, colour = rgb_of_lamp(lamp);
  card.className = !lamp.reachable ? 'unreachable' : lamp.on ? 'on' : 'off';
  card.style.setProperty('--colour', hex_of(colour.map(part => part * (0.35 + 0.65 * level))));
  card.style.setProperty('--glow', `${2 + 8 * level}px`);
  const tone = lamp.colormode === 'ct' ? `${Math.round(1e6 / lamp.ct)} K` : hex_of(colour);
  card.querySelector('.is').textContent = card.className !== 'on' ? card.className
    : `on, ${Math.round(level * 100)} %` + (lamp.colormode ? `, ${tone}` : '');
  for (const [name, show_value] of Object.entries(members)) {
    const value = kMembers[name].of(lamp);
    show_value(value, name === 'hue' ? `${lamp.hue}, ${lamp.sat}` : value);
  }
  for (const {id: object, value = '', is_reported} of state.objects) {
    objects[object]?.(value, value === '' ? 'unknown' : is_reported ? value : `${value} sent`);
  }
}

function show_state(message) {
  const ids = message.lights.map(({id}) => id).join();
  if (message.house !== state.house || ids !== Object.keys(cards).join()) {
    cards = {};
    $('lamps').replaceChildren();
  }
  state = message;
  state.lights.forEach(show_light);
  $('daemon').hidden = state.touring;
  $('daemon').textContent = state.running ? 'Stop the daemon' : 'Start the daemon';
  $('tour').textContent = state.touring ? 'End the tour' : 'Watch the tour';
  show('connection', state.running ? 'lumivad is running' : 'lumivad is not running');
  $('waiting').textContent = state.waiting;
  commanded = state.waiting === 0 ? {} : commanded;  // some were needless
  for (const button of $('faults').children) {
    const [part, fault] = button.dataset.fault.split(' ');
    button.setAttribute('aria-pressed', state.faults[part] === fault);
  }
  document.querySelectorAll('fieldset').forEach(item => { item.disabled = state.touring; });
}

// --- The road ---

function travel(from, to) {
  const [start, end] = [from, to].map(name => document.querySelector(`[data-station=${name}]`));
  const centre = station => ({left: `${station.offsetLeft + station.offsetWidth / 2}px`});
  end.classList.add('reached');
  setTimeout(() => end.classList.remove('reached'), kTravelMs);
  if (!matchMedia('(prefers-reduced-motion: reduce)').matches && !document.hidden &&
      document.querySelectorAll('.stations i').length < kMostDots) {
    const dot = add(start.parentElement, 'i', '');
    dot.animate([centre(start), centre(end)], kTravelMs).onfinish = () => dot.remove();
  }
}

function show_travel({direction, text}) {
  const ends = direction.split(' -> ');
  const is_on_road = ends.length === 2 && ends.every(end => /core|daemon|bridge/.test(end));
  const is_past = text.startsWith('bulb ');
  if (is_on_road || is_past) {
    travel(...(is_on_road ? ends : ['lamp', 'bridge']));
    $('message').textContent = `${is_past ? 'past the daemon' : direction}: ${text}`;
  }
  if (direction === 'bridge -> daemon' && text.includes('"success"')) {
    travel('bridge', 'lamp');
  }
}

// --- Events: pacing, what the daemon says, timeline ---

function take_event(event) {
  const {direction, text, time, object, priority, routine} = event;
  events = [...events.slice(1 - kMostEvents), event];
  ++held;
  const light = state.objects.find(({id}) => id === object)?.light;
  if (direction === 'daemon -> bridge') {
    requests.push({time, is_poll: text === 'GET /lights'});
    const start = commanded[text.match(/^PUT \/lights\/(\d+)\/state/)?.[1]]?.shift();
    const latency = Math.round((time - start) * 1000);
    show('latency', start === undefined ? $('latency').textContent : `${latency} ms`);
  } else if (direction === 'core -> daemon' && light) {
    (commanded[light] ||= []).push(time);
  } else if (direction === 'house' && /^(bridge|core): (?!restore)/.test(text)) {
    said = [];
  } else if (direction === 'log' && priority <= 4 && !routine && !said.includes(text)) {
    said = [text, ...said].slice(0, 6);
  }
  if (clock + performance.now() / 1000 - time < 2) {  // not from before this page
    show_travel(event);
  }
}

function show_rows() {
  const wanted = $('search').value.toLowerCase();
  const rows = events.filter(({direction, text, routine}) => ($('routine').checked || !routine) &&
    (direction === 'log' || !$('log-only').checked) &&
    `${direction} ${text}`.toLowerCase().includes(wanted)).slice(-kShownRows).reverse();
  $('rows').replaceChildren();
  for (const {time, direction, text} of rows) {
    const row = add($('rows'), 'li', '', {className: direction === 'log' ? text.split(':')[0] : ''});
    add(row, 'time', time.toFixed(3));
    add(row, 'b', direction);
    add(row, 'span', text);
  }
  $('said').replaceChildren();
  (said.length ? said : ['nothing']).forEach(text => add($('said'), 'li', text));
  held = 0;
}

function show_strip() {
  const now = clock + performance.now() / 1000;
  requests = requests.filter(({time}) => now - time < kStripSeconds);
  const bars = requests.map(({time, is_poll}) =>
    `M${(300 * (1 - (now - time) / kStripSeconds)).toFixed(1)} 40V${is_poll ? 24 : 4}`);
  $('strip').firstElementChild.setAttribute('d', bars.join('') || 'M0 40');
  const gaps = requests.slice(1).map(({time}, i) => Math.round((time - requests[i].time) * 1000));
  $('distances').textContent = gaps.length === 0 ? 'no two requests'
    : `shortest distance ${Math.min(...gaps)} ms; the last: ${gaps.slice(-5).join(', ')} ms`;
}

setInterval(() => {
  show_strip();
  if (held > 0 && !is_pressed($('pause'))) {
    show_rows();
  }
  $('pause').textContent = is_pressed($('pause')) ? `Go on (${held} new)` : 'Pause';
}, 200);

// --- The stream ---

const kTakers = {
  hello({now}) {
    clock = now - performance.now() / 1000;
    [state, events, requests, said, commanded] = [kNothing, [], [], [], {}];
    show('missed', '');
  },
  event: take_event, state: show_state,
  dropped({text}) { show('missed', `${text} earlier messages are missing: the house keeps 1000.`); },
  problem({text}) { show('problem', text); },
  step({text}) {
    const heading = $('step').textContent.split(' > ')[0];
    show('step', text.startsWith('say ') ? text.slice(4) : `${heading} > ${text}`);
  },
};

function connect() {
  return Object.assign(new EventSource('events'), {
    onmessage({data}) {
      const message = JSON.parse(data);
      kTakers[message.type](message);
    },
    onerror() { show('connection', 'The house does not answer; trying again'); },
  });
}

let stream = connect();
// A browser has six connections to a house for all its tabs: a hidden tab leaves its own to others.
document.onvisibilitychange = () => {
  stream.close();
  stream = document.hidden ? stream : connect();
};
$('daemon').onclick = () => send(state.running ? 'stop' : 'start');
$('tour').onclick = () => send(state.touring ? 'end tour' : 'tour');
$('search').oninput = $('log-only').onchange = $('routine').onchange = show_rows;
$('pause').onclick = ({target}) => target.setAttribute('aria-pressed', !is_pressed(target));
for (const button of $('faults').children) {
  const {fault} = button.dataset;
  button.onclick = () => send(is_pressed(button) ? fault.replace(/ .*/, ' restore') : fault);
}
