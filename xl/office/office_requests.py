"""What the helper (uno_helper.py) does in the office, one function per request. Every function
takes the request's fields as strings and returns the fields of its answer."""
import itertools
import os
import shutil

import uno
from com.sun.star.document.MacroExecMode import ALWAYS_EXECUTE_NO_WARN, NEVER_EXECUTE
from com.sun.star.document.UpdateDocMode import NO_UPDATE

from lo_session import props, url


# Writes cell values into a document and makes a sheet the active one. It runs as Basic inside
# the office: through the bridge, every cell call is a round trip of several milliseconds, and
# every call of the routine costs about ten, so a document takes one call. It answers the name
# of a sheet that the document lacks, or nothing.
EDITS_LIBRARY, EDITS_MODULE = 'SheaflowEdits', 'Edits'
EDITS_BASIC = """
Function Apply(doc As Variant, sheets As Variant, rows As Variant, cols As Variant, kinds As Variant, values As Variant, active As String) As String
    Dim i As Long, cell As Object, sheet As Object, current As String, view As Object
    Apply = ""
    For i = LBound(kinds) To UBound(kinds)
        If sheets(i) <> current Then
            current = sheets(i)
            If Not doc.Sheets.hasByName(current) Then
                Apply = current
                Exit Function
            End If
            sheet = doc.Sheets.getByName(current)
        End If
        cell = sheet.getCellByPosition(cols(i), rows(i))
        Select Case kinds(i)
        Case "t"
            cell.setString(values(i))
        Case "n"
            cell.setValue(values(i))
        Case Else
            cell.clearContents(23)
        End Select
    Next i
    If Not doc.Sheets.hasByName(active) Then
        Apply = active
        Exit Function
    End If
    view = doc.getCurrentController()
    If view.getActiveSheet().Name <> active Then view.setActiveSheet(doc.Sheets.getByName(active))
End Function
"""
# clearContents(23): values, dates, texts and formulas; formats and notes stay.


def handlers(office):
    kept = {}
    numbers = itertools.count(1)
    applier = []

    def edit_script():
        if not applier:
            ctx = office.ctx
            smgr = ctx.ServiceManager
            libs = smgr.createInstanceWithContext(
                'com.sun.star.script.ApplicationScriptLibraryContainer', ctx)
            if not libs.hasByName(EDITS_LIBRARY):
                libs.createLibrary(EDITS_LIBRARY)
            lib = libs.getByName(EDITS_LIBRARY)
            if lib.hasByName(EDITS_MODULE):
                lib.removeByName(EDITS_MODULE)
            lib.insertByName(EDITS_MODULE, EDITS_BASIC)
            factory = smgr.createInstanceWithContext(
                'com.sun.star.script.provider.MasterScriptProviderFactory', ctx)
            applier.append(factory.createScriptProvider('').getScript(
                'vnd.sun.star.script:%s.%s.Apply?language=Basic&location=application'
                % (EDITS_LIBRARY, EDITS_MODULE)))
        return applier[0]

    def load(path, **kw):
        args = dict(ReadOnly=True, MacroExecutionMode=NEVER_EXECUTE, UpdateDocMode=NO_UPDATE)
        args.update(kw)
        doc = office.load(path, **args)
        if doc is None or not hasattr(doc, 'Sheets'):
            if doc is not None:
                doc.close(True)
            raise RuntimeError('LibreOffice がブックとして開けませんでした')
        return doc

    def convert(source, target, filter_name):
        """Loads `source` and stores it as `target` through the export filter."""
        doc = load(source)
        try:
            doc.storeToURL(url(target), props(FilterName=filter_name, Overwrite=True))
        finally:
            doc.close(True)
        return []

    def keep(source, target, filter_name):
        """convert, with the document kept open under the handle answered. It is opened for
        editing (a read-only document ignores some edits without a word), from a copy in the
        work folder (under its own name, which formulas may show), so that its lock file stays
        there too."""
        handle = '%d-%d' % (os.getpid(), next(numbers))
        folder = os.path.join(office.dir, 'kept-' + handle)
        os.mkdir(folder)
        copy = os.path.join(folder, os.path.basename(source))
        shutil.copyfile(source, copy)
        try:
            doc = load(copy, ReadOnly=False)
            try:
                doc.storeToURL(url(target), props(FilterName=filter_name, Overwrite=True))
            except Exception:
                doc.close(True)
                raise
        except Exception:
            shutil.rmtree(folder, ignore_errors=True)
            raise
        kept[handle] = (doc, folder)
        return [handle]

    def release(handle):
        doc, folder = kept.pop(handle)
        try:
            doc.close(True)
        finally:
            shutil.rmtree(folder, ignore_errors=True)

    def store_kept(handle, active_sheet, target, filter_name, *edits):
        """Writes the edits (sheet, row, column, kind, value; five fields each, rows and columns
        from 1) into a kept document, makes `active_sheet` its active sheet, stores it as
        `target` and closes it."""
        if handle not in kept:
            raise RuntimeError('文書 %s は開かれていません' % handle)
        doc = kept[handle][0]
        try:
            if len(edits) % 5:
                raise RuntimeError('変更の欄の数が合いません')
            fields = [edits[i::5] for i in range(5)]
            sheets, kinds = fields[0], fields[3]
            rows = tuple(int(r) - 1 for r in fields[1])
            cols = tuple(int(c) - 1 for c in fields[2])
            values = tuple(float(v) if k == 'n' else v for k, v in zip(kinds, fields[4]))
            # Row heights stay as the file has them, as they do when the office reads a package:
            # it takes a row's height from the file instead of fitting it to the new texts.
            doc.IsAdjustHeightEnabled = False
            missing = edit_script().invoke((doc, sheets, rows, cols, kinds, values, active_sheet),
                                           (), ())[0]
            if missing:
                raise RuntimeError('シート「%s」がありません' % missing)
            if edits:
                doc.calculateAll()  # as the office does for a package that asks for it
            doc.storeToURL(url(target), props(FilterName=filter_name, Overwrite=True))
        finally:
            release(handle)
        return []

    def close_kept(handle):
        if handle in kept:
            release(handle)
        return []

    def find_module(book, module):
        """The source of the Basic module `module` (VBA modules come converted) of a document."""
        libs = book.BasicLibraries
        for name in libs.getElementNames():
            libs.loadLibrary(name)
            lib = libs.getByName(name)
            for element in lib.getElementNames():
                if element.lower() == module.lower():
                    return lib.getByName(element)
        return None

    def run_macro(target, macro_book, macro, result, filter_name):
        """Runs `macro` ("Module.Procedure") of `macro_book` in `target` and stores the target
        as `result`. The module is run from a library of the target itself, so that the
        macro's ActiveWorkbook, ActiveSheet and ThisComponent are the target; the library is
        removed before the target is stored."""
        module, _, procedure = macro.rpartition('.')
        if not module or not procedure:
            raise RuntimeError('マクロ名「%s」が正しくありません' % macro)
        book = load(macro_book, MacroExecutionMode=ALWAYS_EXECUTE_NO_WARN)
        try:
            source = find_module(book, module)
        finally:
            book.close(True)
        if source is None:
            raise RuntimeError('マクロのブックにモジュール「%s」がありません' % module)
        doc = load(target, ReadOnly=False, MacroExecutionMode=ALWAYS_EXECUTE_NO_WARN)
        try:
            libs = doc.BasicLibraries
            name = 'SheaflowRun'
            if libs.hasByName(name):
                libs.removeLibrary(name)
            libs.createLibrary(name).insertByName(module, source)
            script = doc.getScriptProvider().getScript(
                'vnd.sun.star.script:%s.%s.%s?language=Basic&location=document'
                % (name, module, procedure))
            script.invoke((), (), ())
            libs.removeLibrary(name)
            doc.storeToURL(url(result), props(FilterName=filter_name, Overwrite=True))
        finally:
            doc.close(True)
        return []

    def picture(source, sheet, cells, target, scale):
        """Writes the cells `cells` of sheet `sheet` of `source` as a PNG picture `target`, at
        `scale` times 96 pixels an inch. The graphic filter draws the selection."""
        doc = load(source, ReadOnly=False)
        try:
            if not doc.Sheets.hasByName(sheet):
                raise RuntimeError('シート「%s」がありません' % sheet)
            page = doc.Sheets.getByName(sheet)
            page.IsVisible = True
            view = doc.getCurrentController()
            view.setActiveSheet(page)
            area = page.getCellRangeByName(cells)
            view.select(area)
            factor = float(scale)
            size = area.Size  # 1/100 mm
            data = uno.Any('[]com.sun.star.beans.PropertyValue', props(
                PixelWidth=max(1, round(size.Width / 2540 * 96 * factor)),
                PixelHeight=max(1, round(size.Height / 2540 * 96 * factor))))
            try:
                uno.invoke(doc, 'storeToURL', (url(target), props(
                    FilterName='calc_png_Export', SelectionOnly=True, Overwrite=True,
                    FilterData=data)))
            except Exception:
                # Calc's graphic export is installed with Draw.
                raise RuntimeError('LibreOffice が画像を書き出せませんでした'
                                   '（画像の出力には libreoffice-draw-nogui が必要です）')
        finally:
            doc.close(True)
        return []

    return {'convert': convert, 'keep': keep, 'store_kept': store_kept,
            'close_kept': close_kept, 'run_macro': run_macro, 'picture': picture}
