// Talks to tshell-server: JSON calls with the bearer token, and the server-sent event stream
// read through fetch() (EventSource cannot send an Authorization header).

const kTokenKey = 'tshell.token';

export class ApiError extends Error {
  constructor(status, message, detail = {}) {
    super(message);
    this.status = status;
    this.detail = detail;
  }
}

// The token comes in the URL fragment (#token=...), which browsers never send to the server;
// it is kept for the tab's lifetime and removed from the address bar.
export function takeTokenFromLocation(location, history, storage) {
  const match = /(?:^#|&)token=([^&]*)/.exec(location.hash);
  if (match) {
    storage.setItem(kTokenKey, decodeURIComponent(match[1]));
    history.replaceState(null, '', location.pathname + location.search);
  }
  return storage.getItem(kTokenKey) || '';
}

export class Api {
  // askToken: async (reason) => new token text, or null when the user gives up.
  constructor({ storage, askToken, base = '' }) {
    this.storage = storage;
    this.askToken = askToken;
    this.base = base;
    this.pendingAsk = null;
  }

  get token() {
    return this.storage.getItem(kTokenKey) || '';
  }

  set token(value) {
    this.storage.setItem(kTokenKey, value);
  }

  headers(extra = {}) {
    const headers = { ...extra };
    if (this.token) headers.Authorization = `Bearer ${this.token}`;
    return headers;
  }

  // One prompt at a time: concurrent 401s wait for the same answer.
  async renewToken(reason) {
    if (!this.pendingAsk) {
      this.pendingAsk = Promise.resolve(this.askToken(reason)).finally(() => {
        this.pendingAsk = null;
      });
    }
    const token = await this.pendingAsk;
    if (token == null) return false;
    this.token = token;
    return true;
  }

  async call(method, path, body) {
    for (;;) {
      let response;
      try {
        response = await fetch(this.base + path, {
          method,
          headers: this.headers(body === undefined ? {} : { 'Content-Type': 'application/json' }),
          body,
        });
      } catch (error) {
        throw new ApiError(0, `Server unreachable: ${error.message}`);
      }
      const text = await response.text();
      if (response.status === 401 && (await this.renewToken('The server asks for a token.'))) {
        continue;
      }
      let data = null;
      try {
        data = text ? JSON.parse(text) : null;
      } catch {
        if (response.ok) throw new ApiError(response.status, 'The server answered text that is not JSON');
      }
      if (!response.ok) {
        const message = data && typeof data.error === 'string' ? data.error : text || response.statusText;
        throw new ApiError(response.status, `${response.status}: ${message}`, data || {});
      }
      return data;
    }
  }

  // commands: one command object or an array of them; answers the shell's response as an
  // array, whatever form was sent.
  async request(commands) {
    const data = await this.call('POST', '/api/request', JSON.stringify(commands));
    return Array.isArray(data) ? data : [data];
  }

  // The server's schema is {CATEGORY: {title, help, keys: [...]}} (older servers: {CATEGORY:
  // [...]}). The views work on {CATEGORY: keys}; each category's title and help stay in
  // this.about.
  async schema() {
    const data = await this.call('GET', '/api/schema');
    const keys = {};
    this.about = {};
    for (const [category, entry] of Object.entries(data)) {
      const plain = Array.isArray(entry);
      keys[category] = plain ? entry : entry.keys;
      this.about[category] = { title: (!plain && entry.title) || '', help: (!plain && entry.help) || '' };
    }
    return keys;
  }

  journal(since) {
    return this.call('GET', `/api/journal?since=${since}`);
  }

  save() {
    return this.call('POST', '/api/save');
  }
}

// Splits a server-sent event stream into events. Feed it decoded text in any chunks; it
// calls onEvent(name, data) for every complete event and onComment(text) for comment lines.
export class EventParser {
  constructor(onEvent, onComment = () => {}) {
    this.onEvent = onEvent;
    this.onComment = onComment;
    this.buffer = '';
    this.afterCR = false;
    this.name = '';
    this.data = [];
  }

  push(text) {
    if (text === '') return;
    // A CR that ended the last chunk may be the first half of a CRLF.
    if (this.afterCR && text.startsWith('\n')) text = text.slice(1);
    this.buffer += text;
    this.afterCR = false;
    for (;;) {
      const match = /\r\n|\r|\n/.exec(this.buffer);
      if (!match) break;
      const line = this.buffer.slice(0, match.index);
      this.buffer = this.buffer.slice(match.index + match[0].length);
      this.afterCR = match[0] === '\r' && this.buffer === '';
      this.line(line);
    }
  }

  line(line) {
    if (line === '') {
      if (this.data.length > 0) this.onEvent(this.name || 'message', this.data.join('\n'));
      this.name = '';
      this.data = [];
      return;
    }
    if (line.startsWith(':')) {
      this.onComment(line.slice(1).trim());
      return;
    }
    const colon = line.indexOf(':');
    const field = colon < 0 ? line : line.slice(0, colon);
    let value = colon < 0 ? '' : line.slice(colon + 1);
    if (value.startsWith(' ')) value = value.slice(1);
    if (field === 'event') this.name = value;
    else if (field === 'data') this.data.push(value);
  }
}

// Keeps GET /api/events open and reconnects when it drops. onEvent(name, parsedData);
// onState('open' | 'closed' | 'unauthorized', detail).
export class EventStream {
  constructor(api, { onEvent, onState }) {
    this.api = api;
    this.onEvent = onEvent;
    this.onState = onState;
    this.stopped = false;
    this.controller = null;
    this.delay = 500;
  }

  start() {
    this.stopped = false;
    this.loop();
  }

  stop() {
    this.stopped = true;
    if (this.controller) this.controller.abort();
  }

  async loop() {
    while (!this.stopped) {
      try {
        await this.readOnce();
        this.onState('closed', 'The event stream ended');
      } catch (error) {
        if (this.stopped) return;
        if (error instanceof ApiError && error.status === 401) {
          this.onState('unauthorized', error.message);
          if (!(await this.api.renewToken('The event stream needs a valid token.'))) return;
          continue;
        }
        this.onState('closed', error.message);
      }
      if (this.stopped) return;
      await new Promise((resolve) => setTimeout(resolve, this.delay));
      this.delay = Math.min(this.delay * 2, 10000);
    }
  }

  async readOnce() {
    this.controller = new AbortController();
    const response = await fetch(`${this.api.base}/api/events`, {
      headers: this.api.headers({ Accept: 'text/event-stream' }),
      signal: this.controller.signal,
      cache: 'no-store',
    });
    if (!response.ok) {
      let message = response.statusText;
      try {
        message = (await response.json()).error || message;
      } catch {
        // keep the status text
      }
      throw new ApiError(response.status, `${response.status}: ${message}`);
    }
    this.delay = 500;
    this.onState('open', '');
    const parser = new EventParser((name, data) => {
      let parsed = data;
      try {
        parsed = JSON.parse(data);
      } catch {
        // hand the raw text on
      }
      this.onEvent(name, parsed);
    });
    const reader = response.body.pipeThrough(new TextDecoderStream()).getReader();
    for (;;) {
      const { value, done } = await reader.read();
      if (done) return;
      parser.push(value);
    }
  }
}

// Files travel as data URIs; btoa only takes Latin-1, so encode the bytes.
export async function fileToDataUri(file, mime) {
  const bytes = new Uint8Array(await file.arrayBuffer());
  let binary = '';
  for (let i = 0; i < bytes.length; i += 0x8000) {
    binary += String.fromCharCode.apply(null, bytes.subarray(i, i + 0x8000));
  }
  return `data:${mime};base64,${btoa(binary)}`;
}

export function dataUriToBlob(uri) {
  const comma = uri.indexOf(',');
  const header = uri.slice(5, comma);
  const mime = header.split(';')[0] || 'application/octet-stream';
  const binary = atob(uri.slice(comma + 1));
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < binary.length; ++i) bytes[i] = binary.charCodeAt(i);
  return new Blob([bytes], { type: mime === 'text/json' ? 'application/json' : mime });
}
