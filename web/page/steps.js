// The steps of the chain as cards, made from the table of operations.
import { byId, element } from './element.js';
import { sharesOf } from './stage.js';
import { of, word } from './words.js';

/** @typedef {import('../engine/zel.js').Operation} Operation */
/** @typedef {import('../engine/zel.js').Parameter} Parameter */
/** @typedef {import('./document.js').Step} Step */

const SHOWN = 3;

export class Steps {
  /** What the cards on show were built for; while it stays, only values are refreshed. */
  #built = '';
  /** @type {(() => void)[]} */
  #refresh = [];

  /**
   * @param {import('./document.js').Chain} chain
   * @param {Operation[]} operations
   * @param {import('./stage.js').Stage} stage
   */
  constructor(chain, operations, stage) {
    this.chain = chain;
    this.operations = new Map(operations.map((operation) => [operation.name, operation]));
    this.stage = stage;
    this.list = byId('steps');
    byId('add').addEventListener('click', () => this.#openMenu());
    byId('filter').addEventListener('input', () => this.#fillMenu());
    byId('filter').addEventListener('keydown', (/** @type {KeyboardEvent} */ event) => {
      if (event.key !== 'Enter') return;
      event.preventDefault();
      byId('menu').querySelector('button')?.click();
    });
    chain.addEventListener('change', () => this.show());
  }

  show(anew = false) {
    const signature = this.chain.steps.map((step) => `${step.id} ${this.#split(step)}`).join();
    if (anew || signature !== this.#built) this.#build();
    this.#built = signature;
    for (const refresh of this.#refresh) refresh();
    byId('no-steps').hidden = this.chain.steps.length > 0;
  }

  // Which settings of a step are three numbers.
  /** @param {Step} step */
  #split(step) {
    return Object.entries(step.settings).filter(([, value]) => value.includes(',')).map(([name]) => name).join(' ');
  }

  #build() {
    const focus = document.activeElement?.id;
    this.#refresh = [];
    this.list.replaceChildren(...this.chain.steps.map((step, place) => this.#card(step.id, place)));
    if (focus) byId(focus)?.focus({ preventScroll: true });
  }

  /** @param {number} id @returns {Step} */
  #step(id) {
    return /** @type {Step} */ (this.chain.steps.find((step) => step.id === id) ?? { id, name: '', on: true, settings: {} });
  }

  /** Marks the step that the engine complains about. @param {number} index among those switched on; -1 none @param {string} [text] */
  complain(index, text = '') {
    const on = this.chain.steps.filter((step) => step.on);
    this.chain.steps.forEach((step, i) => {
      const wrong = index >= 0 && on[index] === step;
      const card = this.list.children[i];
      card?.classList.toggle('wrong', wrong);
      const fault = card?.querySelector('.fault');
      if (fault) fault.textContent = wrong ? text : '';
    });
  }

  /** @param {number} id @param {number} place */
  #card(id, place) {
    const operation = /** @type {Operation} */ (this.operations.get(this.#step(id).name));
    const { title, purpose } = of.operation(operation);
    const on = element('input', { type: 'checkbox', id: `on-${id}`, 'aria-label': word('stepOn', { title }) });
    on.addEventListener('change', () => this.#change(id, (step) => ({ ...step, on: on.checked })));
    const button = (/** @type {string} */ key, /** @type {string} */ sign, /** @type {() => void} */ act, off = false) => {
      const label = word(key, { title });
      const made = element('button', { type: 'button', id: `${key}-${id}`, 'aria-label': label, title: label, disabled: off, textContent: sign });
      made.addEventListener('click', act);
      return made;
    };
    const heading = element('h3', { title: purpose, textContent: title, draggable: true });
    const card = element('li', { className: 'step' },
      element('div', { className: 'head' }, on, heading,
        button('stepUp', '↑', () => this.move(place, place - 1), place === 0),
        button('stepDown', '↓', () => this.move(place, place + 1), place === this.chain.steps.length - 1),
        button('stepRemove', '×', () => this.remove(id))),
      this.#settings(id, operation, title),
      element('p', { className: 'fault', role: 'alert' }));
    this.#makeDraggable(card, heading, place);
    this.#refresh.push(() => {
      on.checked = this.#step(id).on;
      card.classList.toggle('off', !on.checked);
    });
    const mark = () => {
      const { at, rect } = this.#step(id).settings;
      this.stage.marked = sharesOf(at || rect || '', this.stage.size);
      this.stage.draw();
    };
    card.addEventListener('focusin', mark);
    card.addEventListener('focusout', () => {
      this.stage.marked = undefined;
      this.stage.draw();
    });
    return card;
  }

  /** @param {HTMLElement} card @param {HTMLElement} handle @param {number} place */
  #makeDraggable(card, handle, place) {
    handle.addEventListener('dragstart', (event) => event.dataTransfer?.setData('application/x-zel-step', String(place)));
    const isStep = (/** @type {DragEvent} */ event) => event.dataTransfer?.types.includes('application/x-zel-step');
    card.addEventListener('dragover', (event) => {
      if (!isStep(event)) return;
      event.preventDefault();
      card.classList.add('over');
    });
    card.addEventListener('dragleave', () => card.classList.remove('over'));
    card.addEventListener('drop', (event) => {
      card.classList.remove('over');
      if (!isStep(event)) return;
      event.preventDefault();
      event.stopPropagation();
      this.move(Number(event.dataTransfer?.getData('application/x-zel-step')), place);
    });
  }

  /** @param {number} from @param {number} to */
  move(from, to) {
    this.chain.change((steps) => {
      const moved = [...steps];
      moved.splice(to, 0, ...moved.splice(from, 1));
      return moved;
    });
    this.list.children[to]?.querySelector(from < to ? '[id^=stepDown]' : '[id^=stepUp]')?.focus();
  }

  /** @param {number} id */
  remove(id) {
    this.chain.change((steps) => steps.filter((step) => step.id !== id));
    byId('add').focus();
  }

  /** @param {number} id @param {(step: Step) => Step} edit @param {string} [what] */
  #change(id, edit, what) {
    this.chain.change((steps) => steps.map((step) => (step.id === id ? edit(step) : step)), what);
  }

  /** An undefined value takes the setting back to its default. @param {number} id @param {string} name @param {string | undefined} value */
  set(id, name, value) {
    this.#change(id, (step) => {
      const { [name]: _, ...rest } = step.settings;
      return { ...step, settings: value === undefined ? rest : { ...step.settings, [name]: value } };
    }, `${id} ${name}`);
  }

  /** @param {number} id @param {Operation} operation @param {string} title */
  #settings(id, operation, title) {
    const made = operation.parameters.map((parameter) => this.#setting(id, parameter, title));
    const places = operation.parameters.map((parameter, i) => (parameter.type === 'point' ? made[i] : undefined));
    const first = made.filter((row, i) => i < SHOWN || row === places[i]), rest = made.filter((row) => !first.includes(row));
    const box = element('div', { className: 'settings' }, ...first);
    if (rest.length > 0) box.append(element('details', {}, element('summary', { textContent: word('more') }), ...rest));
    return box;
  }

  /** @param {number} id @param {Parameter} parameter @param {string} title */
  #setting(id, parameter, title) {
    const label = of.parameter(parameter);
    if (parameter.type === 'choice') return this.#choice(id, parameter, label);
    if (parameter.type === 'rect' || parameter.type === 'point') return this.#place(id, parameter, label, title);
    return this.#number(id, parameter, label, title);
  }

  /** @param {number} id @param {Parameter} parameter @param {string} label */
  #choice(id, parameter, label) {
    const select = element('select', { id: `${parameter.name}-${id}` },
      ...(parameter.choices ?? []).map((choice) => element('option', { value: choice, textContent: of.choice(choice) })));
    select.addEventListener('change', () => this.set(id, parameter.name, select.value === parameter.default ? undefined : select.value));
    this.#refresh.push(() => (select.value = this.#step(id).settings[parameter.name] ?? String(parameter.default)));
    return element('div', { className: 'setting', title: parameter.meaning },
      element('label', { for: select.id, textContent: label }), element('span', { className: 'value' }, select));
  }

  /** @param {number} id @param {Parameter} parameter @param {string} label @param {string} title */
  #number(id, parameter, label, title) {
    const { name, least = 0, most = 100, step = 1 } = parameter;
    const triple = parameter.type === 'integers' || parameter.type === 'numbers';
    const given = () => this.#step(id).settings[name];
    const parts = () => (given() ?? String(parameter.default ?? '')).split(',');
    const apart = triple && (given() ?? '').includes(',');
    const full = `${title}: ${label}`;
    const reset = () => this.set(id, name, undefined);

    const field = element('input', {
      type: 'text', inputMode: 'decimal', id: `${name}-${id}`, className: apart ? 'long' : '', autocomplete: 'off',
      'aria-label': full, placeholder: '–',
    });
    const take = () => {
      const text = field.value.trim().replace(/\s+/g, ',');
      const numbers = text.split(',').map(Number);
      const whole = parameter.type.startsWith('integer');
      const fits = text !== '' && numbers.every((/** @type {number} */ n) => n >= least && n <= most && (!whole || Number.isInteger(n))) &&
        (numbers.length === 1 || (triple && numbers.length === 3));
      if (text === '') reset();
      else if (fits) this.set(id, name, text);
      else for (const refresh of this.#refresh) refresh();
    };
    field.addEventListener('change', take);
    field.addEventListener('dblclick', reset);

    const sliders = (apart ? ['red', 'green', 'blue'] : ['']).map((channel, i) => {
      const slider = element('input', {
        type: 'range', min: String(least), max: String(most), step: String(step), id: `${name}${channel}-slider-${id}`,
        'aria-label': channel ? `${full}, ${word(channel)}` : full, className: 'wide',
      });
      slider.addEventListener('input', () => {
        const values = parts();
        values[i] = slider.value;
        this.set(id, name, values.join(','));
      });
      slider.addEventListener('dblclick', reset);
      this.#refresh.push(() => {
        const value = parts()[i];
        slider.value = value === '' ? String((least + most) / 2) : value;
        slider.setAttribute('aria-valuetext', value === '' ? '–' : `${value} ${of.unit(parameter.unit)}`.trim());
      });
      return slider;
    });

    const row = element('div', { className: 'setting', title: parameter.meaning },
      element('label', { for: field.id, textContent: label }),
      element('span', { className: 'value' }, field, element('span', { className: 'unit', textContent: of.unit(parameter.unit) })),
      ...sliders);
    if (triple) {
      const button = element('button', { type: 'button', id: `${name}-apart-${id}`, className: 'icon small', textContent: 'RGB', 'aria-label': `RGB, ${full}: ${word('separate')}`, title: word('separate'), 'aria-pressed': String(apart) });
      button.addEventListener('click', () => {
        const [first] = parts();
        this.set(id, name, apart ? first : `${first},${first},${first}`);
      });
      row.querySelector('.value').prepend(button);
    }
    this.#refresh.push(() => {
      if (document.activeElement !== field || field.value === '') field.value = given() ?? String(parameter.default ?? '');
      row.classList.toggle('unset', given() === undefined && parameter.default === null);
    });
    return row;
  }

  /** @param {number} id @param {Parameter} parameter @param {string} label @param {string} title */
  #place(id, parameter, label, title) {
    const { name } = parameter, full = `${title}: ${label}`;
    const field = element('input', { type: 'text', id: `${name}-${id}`, className: 'long', placeholder: word('everywhere'), autocomplete: 'off', 'aria-label': full });
    field.addEventListener('change', () => {
      const text = field.value.trim().replace(/\s+/g, '');
      const coordinates = text.split(',');
      const fits = coordinates.length === (parameter.type === 'rect' ? 4 : 2) && coordinates.every((/** @type {string} */ c) => /^-?\d+(\.\d+)?%$|^-?\d+$/.test(c));
      if (text === '' || fits) this.set(id, name, text || undefined);
      else for (const refresh of this.#refresh) refresh();
    });
    const pick = element('button', { type: 'button', id: `${name}-pick-${id}`, className: 'icon small', 'aria-label': `${full}: ${word('pick')}`, title: word('pick') });
    pick.innerHTML = '<svg viewBox="0 0 20 20" aria-hidden="true"><circle cx="10" cy="10" r="5"/><path d="M10 2v5m0 6v5M2 10h5m6 0h5"/></svg>';
    pick.addEventListener('click', () => this.pick(id, parameter));
    this.#refresh.push(() => (field.value = this.#step(id).settings[name] ?? ''));
    return element('div', { className: 'setting', title: parameter.meaning },
      element('label', { for: field.id, textContent: label }), element('span', { className: 'value' }, pick, field));
  }

  /** @param {number} id @param {Parameter} parameter */
  async pick(id, parameter) {
    const kind = parameter.type === 'rect' ? 'rect' : 'point';
    const text = await this.stage.pick(kind, this.#step(id).settings[parameter.name]);
    if (text !== undefined) this.set(id, parameter.name, text);
  }

  /**
   * A new step starts with the settings of its middle example, so that something is seen; places it asks the person for.
   * @param {Operation} operation
   */
  add(operation) {
    const settings = Object.fromEntries(operation.examples[1].split(' ').filter(Boolean).map((word) => word.split('=')));
    const place = operation.parameters.find(({ name, type }) => name in settings && (type === 'point' || type === 'rect'));
    if (place) delete settings[place.name];
    const id = this.chain.newId();
    this.chain.change((steps) => [...steps, { id, name: operation.name, on: true, settings }]);
    const card = this.list.lastElementChild;
    card?.scrollIntoView({ block: 'nearest' });
    card?.querySelector('.settings input, .settings select')?.focus({ preventScroll: true });
    if (place && this.stage.size.width) this.pick(id, place);
  }

  #openMenu() {
    byId('filter').value = '';
    byId('filter').placeholder = word('filter');
    this.#fillMenu();
    byId('add-dialog').showModal();
    byId('filter').focus();
  }

  #fillMenu() {
    const wanted = byId('filter').value.trim().toLowerCase();
    let group = '';
    const rows = [];
    for (const operation of this.operations.values()) {
      const { title, purpose } = of.operation(operation);
      if (!`${title} ${operation.name} ${purpose}`.toLowerCase().includes(wanted)) continue;
      if (group !== operation.group) rows.push(element('h3', { textContent: of.group((group = operation.group)) }));
      const button = element('button', { type: 'button' }, element('b', { textContent: title }), element('span', { textContent: purpose }));
      button.addEventListener('click', () => {
        byId('add-dialog').close();
        this.add(operation);
      });
      rows.push(button);
    }
    byId('menu').replaceChildren(...rows);
  }
}
