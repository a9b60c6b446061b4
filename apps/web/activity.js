// The driver-activity panel: request summaries and driver calls as the server reports them
// on its event stream, newest first. After a reconnect the calls missed meanwhile are
// fetched from the journal, so the numbering stays without gaps.

import { EventStream } from './api.js';
import { el } from './editors.js';

const kMaxEntries = 400;

export class ActivityPanel {
  constructor(api, { list, status, hidePolls, hiddenNote, onRequest, onError }) {
    this.api = api;
    this.list = list;
    this.hidePolls = hidePolls;
    this.hiddenNote = hiddenNote;
    this.hidden = { requests: 0, calls: 0 };
    this.hiding = false;
    this.open = null;
    this.status = status;
    this.onRequest = onRequest;
    this.onError = onError;
    this.next = null;
    this.stream = new EventStream(api, {
      onEvent: (name, data) => this.event(name, data),
      onState: (state, detail) => this.state(state, detail),
    });
  }

  async start() {
    this.stream.start();
  }

  state(state, detail) {
    this.status.dataset.state = state;
    this.status.title = detail || state;
    this.status.querySelector('span').textContent = state === 'open' ? 'live' : state === 'unauthorized' ? 'no token' : 'reconnecting';
    if (state === 'open') this.catchUp();
  }

  async catchUp() {
    try {
      const journal = await this.api.journal(this.next ?? 0);
      if (journal && Array.isArray(journal.calls)) {
        this.fresh(journal.next, journal.calls, this.next === null ? 'earlier' : 'missed');
      }
    } catch (error) {
      this.onError(error);
    }
  }

  // The stream and a journal catch-up may overlap: show only calls not shown yet.
  fresh(next, calls, note = '') {
    const first = next - calls.length;
    const skip = this.next === null ? 0 : Math.max(0, this.next - first);
    if (skip < calls.length) this.calls(next, calls.slice(skip), note);
  }

  event(name, data) {
    if (name === 'driver' && data && Array.isArray(data.calls)) {
      this.fresh(data.next, data.calls);
    } else if (name === 'request' && data && Array.isArray(data.commands)) {
      this.request(data);
      this.onRequest(data);
    }
  }

  // Driver calls join the request entry they belong to (the server sends a request's calls
  // right after its summary); calls caught up from the journal get an entry of their own.
  calls(next, calls, note = '') {
    this.next = next;
    if (this.hiding && !note) {
      this.hidden.calls += calls.length;
      this.updateHidden();
      return;
    }
    const first = next - calls.length;
    const shown = calls.slice(-60);
    const hidden = calls.length - shown.length;
    const list = el('ol', { class: 'calls', start: first + hidden }, shown.map((call) => el('li', {}, call)));
    const more = hidden > 0 ? el('div', { class: 'muted' }, `… ${hidden} earlier calls`) : null;
    const range = `#${first}${calls.length > 1 ? `–${next - 1}` : ''}`;
    const tag = el('span', { class: 'tag' }, 'driver');
    if (this.open && !note) {
      const head = el('div', { class: 'entry-sub' }, tag, el('span', { class: 'muted' }, range));
      this.open.append(head, ...(more ? [more] : []), list);
      this.open = null;
      return;
    }
    const head = el('div', { class: 'entry-head' }, tag, el('span', { class: 'muted' }, note ? `${range} · ${note}` : range));
    this.add(el('li', { class: 'entry driver' }, head, more, list));
  }

  request(data) {
    // Live views poll the measurements several times a second; those polls would bury
    // everything else, so they are counted instead of listed unless asked for.
    const isPoll = (command) => !command.write && command.key === 'statistics' && !command.message;
    this.hiding = this.hidePolls.checked && data.commands.every(isPoll);
    if (this.hiding) {
      this.hidden.requests += 1;
      this.updateHidden();
      return;
    }
    const commands = data.commands.map((command) => {
      const messages = Array.isArray(command.message) ? command.message : [];
      const failed = messages.some((text) => !/Streaming needed/.test(text));
      return el('li', { class: failed ? 'bad' : '' },
        el('span', { class: command.write ? 'op write' : 'op read' }, command.write ? 'W' : 'R'),
        ` ${command.category}/${command.key}`,
        messages.length ? el('span', { class: failed ? 'msg bad' : 'msg' }, ` ${messages.join('; ')}`) : null);
    });
    const shown = commands.slice(0, 12);
    const count = `${commands.length} command${commands.length === 1 ? '' : 's'}`;
    const more = commands.length > shown.length ? el('li', { class: 'muted' }, `… ${commands.length - shown.length} more`) : null;
    const entry = el('li', { class: 'entry request' },
      el('div', { class: 'entry-head' }, el('span', { class: 'tag' }, 'request'),
        el('span', { class: 'muted' }, `#${data.seq} · ${count} · ${new Date().toLocaleTimeString()}`)),
      el('ul', { class: 'commands' }, shown, more));
    this.add(entry);
    this.open = entry;
  }

  updateHidden() {
    const { requests, calls } = this.hidden;
    this.hiddenNote.textContent = requests ? `${requests} statistics polls (${calls} driver calls) not listed` : '';
  }

  add(entry) {
    this.list.prepend(entry);
    while (this.list.children.length > kMaxEntries) this.list.lastElementChild.remove();
  }

  clear() {
    this.list.replaceChildren();
    this.open = null;
    this.hidden = { requests: 0, calls: 0 };
    this.updateHidden();
  }
}
