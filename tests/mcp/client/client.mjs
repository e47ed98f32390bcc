// A client built on the protocol's reference library, against the real program: client.mjs PROGRAM
import assert from 'node:assert/strict';
import { mkdirSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';

import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';
import { Ajv } from 'ajv';

const home = mkdtempSync(join(tmpdir(), 'lumbro-mcp-'));
const id = '2026-03-02-0914-meeting';

function write(name, text) {
  const path = join(home, 'Quillet', name);
  mkdirSync(dirname(path), { recursive: true });
  writeFileSync(path, text);
}

function fill() {
  write(`captures/${id}/meta.json`, JSON.stringify({
    title: 'Weekly sync', kind: 'meeting', sources: ['mic'],
    startedAt: '2026-03-02T08:14:00Z', endedAt: '2026-03-02T08:44:00Z',
  }));
  write(`captures/${id}/notes.md`, 'Ask about pricing\n');
  write('memory/people/dana-kim.md', '---\nname: Dana Kim\ncompany: Acme\n---\n\n# Dana Kim\n');
  write('memory/promises.md',
    '# Promises\n\n- [ ] send pricing · Me → [[people/dana-kim|Dana Kim]] ^p-000001\n');
}

async function tools(client) {
  const { tools: offered } = await client.listTools();
  assert.deepEqual(offered.map((tool) => tool.name),
    ['search', 'read_capture', 'list_people', 'list_promises', 'ask_context']);
  const ajv = new Ajv({ strict: true });
  for (const tool of offered) {
    assert.ok(tool.description.length > 40 && tool.annotations.readOnlyHint, tool.name);
    ajv.compile(tool.inputSchema);
  }
}

async function calls(client) {
  const call = (name, args) => client.callTool({ name, arguments: args });
  const found = await call('search', { query: 'PRICING' });
  assert.equal(found.structuredContent.captures[0].id, id);
  assert.deepEqual(JSON.parse(found.content[0].text), found.structuredContent);
  const capture = await call('read_capture', { id: 'last', part: 'notes' });
  assert.equal(capture.content[0].text, 'Ask about pricing\n');
  assert.equal((await call('list_people', {})).structuredContent.people[0].name, 'Dana Kim');
  assert.equal((await call('list_promises', { theirs: true })).structuredContent.promises.length, 0);
  const asked = await call('ask_context', { question: 'What now?', scope: 'person:dana-kim' });
  assert.match(asked.content[0].text, /^QUESTION: What now\?[^]*send pricing/);
  const refused = await call('read_capture', { id: '../captures' });
  assert.ok(refused.isError);
  await assert.rejects(call('delete_capture', { id }), { code: -32602 });
  await assert.rejects(client.listResources(), /resources/);
  // Many at once: each must find its own answer, also when they are long.
  write(`captures/${id}/notes.md`, 'word '.repeat(50000));
  const many = await Promise.all(Array.from({ length: 20 }, (_, i) =>
    i % 2 ? call('read_capture', { id }) : call('search', { query: `none${i}` })));
  many.forEach((result, i) => assert.equal(i % 2 ? result.structuredContent.id : 0,
    i % 2 ? id : result.structuredContent.captures.length));
}

async function run(program) {
  fill();
  const transport = new StdioClientTransport({
    command: program, args: ['mcp'], env: { ...process.env, HOME: home, QUILLET_ROOT: join(home, 'Quillet') },
  });
  const client = new Client({ name: 'test', version: '1' });
  await client.connect(transport);
  const { pid } = transport;
  assert.equal(client.getServerVersion().name, 'lumbro');
  assert.match(client.getInstructions(), /search/);
  await client.ping();
  await tools(client);
  await calls(client);
  await client.close();
  assert.throws(() => process.kill(pid, 0), { code: 'ESRCH' });
}

try {
  await run(process.argv[2]);
  console.log('The client found everything as it should be.');
} finally {
  rmSync(home, { recursive: true, force: true });
}
