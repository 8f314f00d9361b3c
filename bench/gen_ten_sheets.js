#!/usr/bin/env node
// One workbook of ten sheets for the split benchmark, made from the rows of the shared workload
// generator: the first three sheets carry its sheet names (売上, 在庫, 顧客), so that the rows
// that refer to another sheet find it; the others are 月04..月10.
// usage: node bench/gen_ten_sheets.js OUT.xlsx ROWS   (NODE_PATH must find exceljs; the shared
// generator is found through SHARED_BENCH, default ../shared/bench beside the repository)
'use strict';
const path = require('path');
const ExcelJS = require('exceljs');
const shared = process.env.SHARED_BENCH || path.join(__dirname, '..', '..', 'shared', 'bench');
const { makeRow, rng, SHEETS, HEADER } = require(path.join(shared, 'gen-workload.js'));

async function main() {
  const [out, rowsArg] = process.argv.slice(2);
  if (!out || !rowsArg) {
    console.error('usage: gen_ten_sheets.js OUT.xlsx ROWS');
    process.exit(2);
  }
  const rows = parseInt(rowsArg, 10);
  const wb = new ExcelJS.stream.xlsx.WorkbookWriter({ filename: out, useSharedStrings: true, useStyles: true });
  for (let s = 0; s < 10; s++) {
    const name = s < SHEETS.length ? SHEETS[s] : '月' + String(s + 1).padStart(2, '0');
    const rand = rng(7 * 1000003 + s);
    const ws = wb.addWorksheet(name);
    ws.columns = [
      { width: 8 }, { width: 16 }, { width: 16 }, { width: 8 },
      { width: 12, style: { numFmt: '#,##0.00' } }, { width: 12, style: { numFmt: 'yyyy-mm-dd' } },
      { width: 10 }, { width: 22 },
    ];
    const head = ws.addRow(HEADER);
    head.font = { bold: true };
    head.commit();
    for (let r = 2; r <= rows + 1; r++) ws.addRow(makeRow(rand, r, s % SHEETS.length)).commit();
    ws.commit();
  }
  await wb.commit();
}

main().catch((e) => { console.error(e); process.exit(1); });
