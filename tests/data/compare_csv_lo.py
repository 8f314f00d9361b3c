#!/usr/bin/python3
"""Compares the per-sheet CSV files that Sheaflow wrote for a workbook with LibreOffice's own
export of the same workbook ("save cell contents as shown", every sheet), cell by cell.

usage: compare_csv_lo.py [--profile DIR] WORKBOOK CSV_FOLDER
Sheaflow's files are CSV_FOLDER/<stem>_<sheet>.csv in CP932; LibreOffice writes
<stem>-<sheet>.csv in UTF-8 (filter options 44,34,76,1,,0,false,true,false,false,false,-1).

Prints one line per cell that differs ("DIFF <sheet> <A1> <ours> | <LibreOffice's>"), and a
"NOTE" line for each difference that one of the known differences between the two applications
explains (listed in EXPLAINED below). Exits 0 when every difference is explained, 1 when one is
not, 2 when LibreOffice could not export the workbook.
"""
import csv
import html
import io
import os
import re
import shutil
import subprocess
import sys
import tempfile
import zipfile

FILTER = 'csv:Text - txt - csv (StarCalc):44,34,76,1,,0,false,true,false,false,false,-1'

# Known differences between the application's text formats and LibreOffice's, each with the test
# that recognises it (ours, LibreOffice's, what the workbook says of the cell). Sheaflow writes
# what the spreadsheet application writes.
EXPLAINED = [
    # LibreOffice recalculates every formula on load (volatile functions, functions it lacks,
    # its own error texts such as Err:502); the application writes the value the file holds.
    ('formula recalculated by LibreOffice', lambda ours, lo, cell: cell.get('formula', False)),
    ('error value recalculated by LibreOffice',
     lambda ours, lo, cell: is_error(ours) and (is_error(lo) or lo == '')),
    # LibreOffice does not apply a cell format's number format unless the format says
    # applyNumberFormat; the application always does.
    ('number format not marked applied', lambda ours, lo, cell: cell.get('unapplied', False)),
    # The built-in short date follows the session's locale: yyyy/m/d in a Japanese session,
    # MM/DD/YYYY in LibreOffice's en-US one.
    ('short date in the locale form', lambda ours, lo, cell: same_date(ours, lo)),
    # The text formats are in CP932: a character it cannot hold is written as "?".
    ('character outside CP932 written as "?"',
     lambda ours, lo, cell: lo.encode('cp932', 'replace').decode('cp932') == ours),
    # The application reads the _xHHHH_ escapes of strings (a CR in a comment or a string);
    # LibreOffice leaves some of them as they stand.
    ('_xHHHH_ escape read', lambda ours, lo, cell: unescape(lo) == ours),
    # General shows at most 11 characters of a number in the application ("1.23457E+15",
    # "0.333333333"); LibreOffice's General shows up to its standard precision.
    ('General number shown with 11 characters',
     lambda ours, lo, cell: is_number(ours) and is_number(lo) and close(ours, lo)),
    # A boolean shows TRUE or FALSE whatever its number format.
    ('boolean shown as TRUE/FALSE', lambda ours, lo, cell: ours in ('TRUE', 'FALSE')),
]


def unescape(s):
    return re.sub(r'_x([0-9A-Fa-f]{4})_', lambda m: chr(int(m.group(1), 16)), s)


def parse_date(s):
    m = re.fullmatch(r'(\d{4})/(\d{1,2})/(\d{1,2})( .*)?', s)
    if m:
        return int(m.group(1)), int(m.group(2)), int(m.group(3))
    m = re.fullmatch(r'(\d{1,2})/(\d{1,2})/(\d{4})( .*)?', s)
    if m:
        return int(m.group(3)), int(m.group(1)), int(m.group(2))
    m = re.fullmatch(r'(\d{1,2})/(\d{1,2})', s)
    if m:
        return None, int(m.group(1)), int(m.group(2))
    return None


def same_date(ours, lo):
    a, b = parse_date(ours), parse_date(lo)
    if not a or not b:
        return False
    return a[1:] == b[1:] and (a[0] is None or a[0] == b[0])


def cell_facts(workbook):
    """What the workbook says of each cell: {sheet: {A1: {'formula': bool, 'unapplied': bool}}}."""
    facts = {}
    try:
        z = zipfile.ZipFile(workbook)
        wb = z.read('xl/workbook.xml').decode('utf-8')
        rels = z.read('xl/_rels/workbook.xml.rels').decode('utf-8')
        targets = {m.group(1): m.group(2) for m in re.finditer(
            r'<Relationship [^>]*?Id="([^"]+)"[^>]*?Target="([^"]+)"', rels)}
        targets.update({m.group(2): m.group(1) for m in re.finditer(
            r'<Relationship [^>]*?Target="([^"]+)"[^>]*?Id="([^"]+)"', rels)})
        unapplied = []
        if 'xl/styles.xml' in z.namelist():
            st = z.read('xl/styles.xml').decode('utf-8')
            xfs = re.search(r'<cellXfs[^>]*>(.*?)</cellXfs>', st, re.S)
            for xf in re.finditer(r'<xf ([^>]*)>', xfs.group(1) if xfs else ''):
                a = xf.group(1)
                num = re.search(r'numFmtId="(\d+)"', a)
                applied = re.search(r'applyNumberFormat="(1|true)"', a)
                unapplied.append(bool(num and num.group(1) != '0' and not applied))
        for m in re.finditer(r'<sheet [^>]*?name="([^"]+)"[^>]*?r:id="([^"]+)"', wb):
            name = html.unescape(m.group(1))
            part = targets.get(m.group(2), '')
            part = part.lstrip('/') if part.startswith('/') else 'xl/' + part
            if part not in z.namelist():
                continue
            sheet = {}
            x = z.read(part).decode('utf-8')
            for c in re.finditer(r'<c r="([A-Z]+\d+)"([^>]*?)(/>|>(.*?)</c>)', x, re.S):
                s = re.search(r' s="(\d+)"', c.group(2))
                i = int(s.group(1)) if s else 0
                sheet[c.group(1)] = {'formula': '<f' in (c.group(4) or ''),
                                     'unapplied': i < len(unapplied) and unapplied[i]}
            facts[name] = sheet
    except (zipfile.BadZipFile, KeyError):
        pass
    return facts


def is_error(s):
    return bool(re.fullmatch(r'#[A-Z0-9/!?]+[!?]?|#N/A|#GETTING_DATA|Err:\d+', s))


def is_number(s):
    try:
        float(s.replace(',', ''))
        return True
    except ValueError:
        return False


def close(a, b):
    x, y = float(a.replace(',', '')), float(b.replace(',', ''))
    return x == y or abs(x - y) <= 1e-9 * max(abs(x), abs(y))


def column_name(n):
    s = ''
    while n:
        n, r = divmod(n - 1, 26)
        s = chr(65 + r) + s
    return s


def read_rows(data):
    rows = list(csv.reader(io.StringIO(data, newline='')))
    return rows


def main(argv):
    profile = None
    if len(argv) > 2 and argv[0] == '--profile':
        profile, argv = argv[1], argv[2:]
    if len(argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    workbook, folder = argv
    stem = os.path.splitext(os.path.basename(workbook))[0]
    out = tempfile.mkdtemp(prefix='csv_lo_')
    own_profile = profile is None
    if own_profile:
        profile = tempfile.mkdtemp(prefix='csv_lo_profile_')
    try:
        # LibreOffice names its files after the workbook: copy it under a plain name first.
        src = os.path.join(out, 'book' + os.path.splitext(workbook)[1])
        shutil.copyfile(workbook, src)
        subprocess.run(['soffice', '-env:UserInstallation=file://' + os.path.abspath(profile),
                        '--headless', '--convert-to', FILTER, '--outdir', out, src],
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=180)
        lo_files = sorted(f for f in os.listdir(out) if f.startswith('book-') and f.endswith('.csv'))
        if not lo_files:
            print('!! LibreOffice wrote nothing for', workbook)
            return 2
        unexplained = 0
        facts = cell_facts(workbook)
        for f in lo_files:
            sheet = f[len('book-'):-len('.csv')]
            ours_path = os.path.join(folder, stem + '_' + sheet + '.csv')
            with open(os.path.join(out, f), encoding='utf-8', newline='') as h:
                lo_rows = read_rows(h.read())
            if not os.path.exists(ours_path):
                # LibreOffice also writes chart sheets and empty sheets; the application writes
                # no file for a chart sheet.
                if any(any(c for c in r) for r in lo_rows):
                    print('MISSING', sheet, ours_path)
                    unexplained += 1
                continue
            with open(ours_path, 'rb') as h:
                ours_rows = read_rows(h.read().decode('cp932'))
            height = max(len(ours_rows), len(lo_rows))
            for r in range(height):
                a = ours_rows[r] if r < len(ours_rows) else []
                b = lo_rows[r] if r < len(lo_rows) else []
                for c in range(max(len(a), len(b))):
                    x = a[c] if c < len(a) else ''
                    y = b[c] if c < len(b) else ''
                    if x == y:
                        continue
                    cell = column_name(c + 1) + str(r + 1)
                    fact = facts.get(sheet, {}).get(cell, {})
                    why = next((name for name, test in EXPLAINED if test(x, y, fact)), None)
                    if why:
                        print('NOTE', sheet, cell, repr(x), '|', repr(y), '--', why)
                    else:
                        print('DIFF', sheet, cell, repr(x), '|', repr(y))
                        unexplained += 1
        return 1 if unexplained else 0
    finally:
        shutil.rmtree(out, ignore_errors=True)
        if own_profile:
            shutil.rmtree(profile, ignore_errors=True)


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
