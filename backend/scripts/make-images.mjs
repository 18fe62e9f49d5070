#!/usr/bin/env node
// Draws the demo campaign pictures into data/images/ with nothing but Node
// built-ins, so the sample needs no image tools and the files can be remade
// byte for byte: node scripts/make-images.mjs [OUTPUT_DIR]

import { mkdirSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { deflateSync } from 'node:zlib';

const WIDTH = 320;
const HEIGHT = 160;

// --- drawing ---------------------------------------------------------------

const hex = (text) => [1, 3, 5].map((i) => parseInt(text.slice(i, i + 2), 16));
const mix = (a, b, t) => a.map((v, i) => v + (b[i] - v) * t);

function canvas(width, height) {
  return { width, height, rgb: new Float64Array(width * height * 3) };
}

function blend(img, x, y, colour, alpha) {
  if (alpha <= 0) return;
  const i = (y * img.width + x) * 3;
  for (let c = 0; c < 3; c++) img.rgb[i + c] += (colour[c] - img.rgb[i + c]) * Math.min(alpha, 1);
}

function gradient(img, top, bottom, left = top, right = bottom) {
  for (let y = 0; y < img.height; y++) {
    for (let x = 0; x < img.width; x++) {
      const vertical = mix(hex(top), hex(bottom), y / (img.height - 1));
      const horizontal = mix(hex(left), hex(right), x / (img.width - 1));
      blend(img, x, y, mix(vertical, horizontal, 0.5), 1);
    }
  }
}

// Shapes are filled by coverage of the pixel centre's distance to the edge,
// which gives one pixel of anti-aliasing for free.
function fill(img, colour, distance, alpha = 1) {
  const rgb = hex(colour);
  for (let y = 0; y < img.height; y++) {
    for (let x = 0; x < img.width; x++) blend(img, x, y, rgb, alpha * (0.5 - distance(x + 0.5, y + 0.5)));
  }
}

const circle = (cx, cy, r) => (x, y) => Math.hypot(x - cx, y - cy) - r;
const roundedBox = (x0, y0, x1, y1, r) => (x, y) => {
  const dx = Math.max(x0 + r - x, x - (x1 - r), 0);
  const dy = Math.max(y0 + r - y, y - (y1 - r), 0);
  const inside = Math.min(Math.max(x0 + r - x, x - (x1 - r), y0 + r - y, y - (y1 - r)), 0);
  return Math.hypot(dx, dy) + inside - r;
};
const wave = (base, amplitude, period, phase) => (x, y) => base + amplitude * Math.sin((x / period) * 2 * Math.PI + phase) - y;

const PICTURES = {
  'spring-notification.png': (img) => {
    gradient(img, '#BFE6FF', '#FFF4C2');
    fill(img, '#FFD23F', circle(262, 48, 28));
    fill(img, '#7BC950', wave(118, 8, 160, 0));
    fill(img, '#4E9F3D', wave(134, 6, 110, 2));
    [[60, 108, '#FF6F91'], [104, 118, '#FFC75F'], [150, 106, '#F9F871'], [196, 120, '#FF9671']].forEach(([x, y, c]) => {
      for (let k = 0; k < 5; k++) {
        const a = (k / 5) * 2 * Math.PI;
        fill(img, c, circle(x + 8 * Math.cos(a), y + 8 * Math.sin(a), 6));
      }
      fill(img, '#FFF8E1', circle(x, y, 4));
    });
  },
  'spring-hero.jpg': (img) => {
    gradient(img, '#FFE0EC', '#C8F2D4', '#FFD6E0', '#D4F5FF');
    for (let k = 0; k < 7; k++) fill(img, k % 2 ? '#FFFFFF' : '#FF8FAB', circle(30 + k * 44, 70 + 22 * Math.sin(k), 18 + (k % 3) * 6), 0.7);
    fill(img, '#2D6A4F', wave(140, 5, 90, 1), 0.9);
  },
  'loyalty-notification.jpg': (img) => {
    gradient(img, '#0B2540', '#218DEA');
    fill(img, '#000000', roundedBox(74, 34, 254, 138, 12), 0.25);
    fill(img, '#F4F7FB', roundedBox(66, 26, 246, 130, 12));
    fill(img, '#218DEA', roundedBox(66, 44, 246, 62, 0));
    for (let k = 0; k < 5; k++) fill(img, k < 3 ? '#FFB400' : '#C9D3DF', circle(96 + k * 30, 98, 10));
  },
  'coffee-notification.png': (img) => {
    gradient(img, '#F3E3D3', '#C8A27C');
    fill(img, '#FFFFFF', roundedBox(110, 118, 210, 132, 7));
    fill(img, '#6F4E37', circle(204, 82, 16));
    fill(img, '#F3E3D3', circle(204, 82, 9));
    fill(img, '#6F4E37', roundedBox(118, 56, 198, 122, 14));
    fill(img, '#C69C6D', roundedBox(124, 56, 192, 66, 4));
    for (let k = 0; k < 3; k++) fill(img, '#FFFFFF', roundedBox(136 + k * 18, 22, 142 + k * 18, 48, 3), 0.6);
  },
};

// --- PNG --------------------------------------------------------------------

const CRC_TABLE = Array.from({ length: 256 }, (_, n) => {
  let c = n;
  for (let k = 0; k < 8; k++) c = c & 1 ? 0xedb88320 ^ (c >>> 1) : c >>> 1;
  return c >>> 0;
});
function crc32(bytes) {
  let c = 0xffffffff;
  for (const b of bytes) c = CRC_TABLE[(c ^ b) & 0xff] ^ (c >>> 8);
  return (c ^ 0xffffffff) >>> 0;
}

function chunk(type, data) {
  const body = Buffer.concat([Buffer.from(type, 'ascii'), data]);
  const out = Buffer.alloc(body.length + 8);
  out.writeUInt32BE(data.length, 0);
  body.copy(out, 4);
  out.writeUInt32BE(crc32(body), body.length + 4);
  return out;
}

function encodePng({ width, height, rgb }) {
  const pixels = Uint8Array.from(rgb, (v) => Math.round(Math.min(Math.max(v, 0), 255)));
  const stride = width * 3;
  // Every row uses the "Sub" filter (difference to the pixel on the left):
  // smooth gradients then deflate to a few KB.
  const rows = Buffer.alloc((stride + 1) * height);
  for (let y = 0; y < height; y++) {
    rows[y * (stride + 1)] = 1;
    for (let x = 0; x < stride; x++) {
      const left = x < 3 ? 0 : pixels[y * stride + x - 3];
      rows[y * (stride + 1) + 1 + x] = (pixels[y * stride + x] - left) & 0xff;
    }
  }
  const header = Buffer.alloc(13);
  header.writeUInt32BE(width, 0);
  header.writeUInt32BE(height, 4);
  header.set([8, 2, 0, 0, 0], 8); // 8-bit RGB, no interlace
  return Buffer.concat([
    Buffer.from([0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a]),
    chunk('IHDR', header),
    chunk('IDAT', deflateSync(rows, { level: 9 })),
    chunk('IEND', Buffer.alloc(0)),
  ]);
}

// --- JPEG (baseline, 4:4:4) -------------------------------------------------

const LUMA_QUANT = [
  16, 11, 10, 16, 24, 40, 51, 61, 12, 12, 14, 19, 26, 58, 60, 55, 14, 13, 16, 24, 40, 57, 69, 56, 14, 17, 22, 29, 51, 87, 80, 62,
  18, 22, 37, 56, 68, 109, 103, 77, 24, 35, 55, 64, 81, 104, 113, 92, 49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100,
  103, 99,
];
const CHROMA_QUANT = Array.from({ length: 64 }, (_, i) => {
  const [r, c] = [i >> 3, i & 7];
  const corner = [[17, 18, 24, 47], [18, 21, 26, 66], [24, 26, 56, 99], [47, 66, 99, 99]];
  return r < 4 && c < 4 ? corner[r][c] : 99;
});

// Natural index of the k-th coefficient in zig-zag order.
const ZIGZAG = [];
for (let s = 0; s < 15; s++) {
  const rows = [];
  for (let r = Math.max(0, s - 7); r <= Math.min(s, 7); r++) rows.push(r);
  if (s % 2 === 0) rows.reverse();
  for (const r of rows) ZIGZAG.push(r * 8 + (s - r));
}

const COS = Array.from({ length: 8 }, (_, u) =>
  Array.from({ length: 8 }, (_, x) => (u === 0 ? Math.SQRT1_2 : 1) * 0.5 * Math.cos(((2 * x + 1) * u * Math.PI) / 16)),
);

function dct(block) {
  const tmp = new Float64Array(64);
  const out = new Float64Array(64);
  for (let y = 0; y < 8; y++) {
    for (let u = 0; u < 8; u++) {
      let sum = 0;
      for (let x = 0; x < 8; x++) sum += COS[u][x] * block[y * 8 + x];
      tmp[y * 8 + u] = sum;
    }
  }
  for (let u = 0; u < 8; u++) {
    for (let v = 0; v < 8; v++) {
      let sum = 0;
      for (let y = 0; y < 8; y++) sum += COS[v][y] * tmp[y * 8 + u];
      out[v * 8 + u] = sum;
    }
  }
  return out;
}

// One Huffman table serves every component: all twelve DC categories get
// 4-bit codes and all 162 AC symbols 8-bit codes. A little larger than the
// optimised tables, but valid for every decoder and needs no statistics.
const DC_SYMBOLS = Array.from({ length: 12 }, (_, s) => s);
const AC_SYMBOLS = [0x00, 0xf0];
for (let run = 0; run < 16; run++) for (let size = 1; size <= 10; size++) AC_SYMBOLS.push((run << 4) | size);
const DC_CODES = new Map(DC_SYMBOLS.map((s, i) => [s, { code: i, length: 4 }]));
const AC_CODES = new Map(AC_SYMBOLS.map((s, i) => [s, { code: i, length: 8 }]));

class BitWriter {
  bytes = [];
  acc = 0;
  count = 0;
  write(value, length) {
    for (let i = length - 1; i >= 0; i--) {
      this.acc = (this.acc << 1) | ((value >> i) & 1);
      if (++this.count === 8) this.flushByte();
    }
  }
  flushByte() {
    this.bytes.push(this.acc);
    if (this.acc === 0xff) this.bytes.push(0x00); // byte stuffing
    this.acc = 0;
    this.count = 0;
  }
  finish() {
    while (this.count !== 0) this.write(1, 1);
    return Buffer.from(this.bytes);
  }
}

const category = (v) => (v === 0 ? 0 : Math.floor(Math.log2(Math.abs(v))) + 1);
const magnitude = (v, size) => (v >= 0 ? v : v + (1 << size) - 1);

function encodeBlock(bits, coefficients, quant, previousDc) {
  const q = ZIGZAG.map((n) => Math.round(coefficients[n] / quant[n]));
  const diff = q[0] - previousDc;
  const dc = category(diff);
  bits.write(DC_CODES.get(dc).code, 4);
  bits.write(magnitude(diff, dc), dc);
  let run = 0;
  for (let k = 1; k < 64; k++) {
    if (q[k] === 0) {
      run++;
      continue;
    }
    for (; run > 15; run -= 16) bits.write(AC_CODES.get(0xf0).code, 8);
    const size = category(q[k]);
    bits.write(AC_CODES.get((run << 4) | size).code, 8);
    bits.write(magnitude(q[k], size), size);
    run = 0;
  }
  if (run > 0) bits.write(AC_CODES.get(0x00).code, 8);
  return q[0];
}

function segment(marker, payload) {
  const out = Buffer.alloc(payload.length + 4);
  out.writeUInt16BE(marker, 0);
  out.writeUInt16BE(payload.length + 2, 2);
  Buffer.from(payload).copy(out, 4);
  return out;
}

function encodeJpeg({ width, height, rgb }, quality = 85) {
  const scale = quality < 50 ? 5000 / quality : 200 - quality * 2;
  const scaled = (table) => table.map((t) => Math.min(Math.max(Math.floor((t * scale + 50) / 100), 1), 255));
  const quants = [scaled(LUMA_QUANT), scaled(CHROMA_QUANT), scaled(CHROMA_QUANT)];

  const huffman = (tableClass, symbols, length) => {
    const counts = new Array(16).fill(0);
    counts[length - 1] = symbols.length;
    return [tableClass << 4, ...counts, ...symbols];
  };
  const header = Buffer.concat([
    Buffer.from([0xff, 0xd8]),
    segment(0xffe0, [...Buffer.from('JFIF\0', 'ascii'), 1, 1, 0, 0, 1, 0, 1, 0, 0]),
    segment(0xffdb, [0, ...ZIGZAG.map((n) => quants[0][n]), 1, ...ZIGZAG.map((n) => quants[1][n])]),
    segment(0xffc0, [8, height >> 8, height & 0xff, width >> 8, width & 0xff, 3, 1, 0x11, 0, 2, 0x11, 1, 3, 0x11, 1]),
    segment(0xffc4, [...huffman(0, DC_SYMBOLS, 4), ...huffman(1, AC_SYMBOLS, 8)]),
    segment(0xffda, [3, 1, 0x00, 2, 0x00, 3, 0x00, 0, 63, 0]),
  ]);

  const bits = new BitWriter();
  const previousDc = [0, 0, 0];
  for (let by = 0; by < height; by += 8) {
    for (let bx = 0; bx < width; bx += 8) {
      const blocks = [new Float64Array(64), new Float64Array(64), new Float64Array(64)];
      for (let y = 0; y < 8; y++) {
        for (let x = 0; x < 8; x++) {
          const i = (Math.min(by + y, height - 1) * width + Math.min(bx + x, width - 1)) * 3;
          const [r, g, b] = [rgb[i], rgb[i + 1], rgb[i + 2]];
          blocks[0][y * 8 + x] = 0.299 * r + 0.587 * g + 0.114 * b - 128;
          blocks[1][y * 8 + x] = -0.168736 * r - 0.331264 * g + 0.5 * b;
          blocks[2][y * 8 + x] = 0.5 * r - 0.418688 * g - 0.081312 * b;
        }
      }
      blocks.forEach((block, c) => (previousDc[c] = encodeBlock(bits, dct(block), quants[c], previousDc[c])));
    }
  }
  return Buffer.concat([header, bits.finish(), Buffer.from([0xff, 0xd9])]);
}

// --- main -------------------------------------------------------------------

const outDir = process.argv[2] ?? fileURLToPath(new URL('../data/images/', import.meta.url));
mkdirSync(outDir, { recursive: true });
for (const [name, draw] of Object.entries(PICTURES)) {
  const img = canvas(WIDTH, HEIGHT);
  draw(img);
  const bytes = name.endsWith('.png') ? encodePng(img) : encodeJpeg(img);
  writeFileSync(join(outDir, name), bytes);
  process.stdout.write(`${name}: ${bytes.length} bytes\n`);
}
