"""What the helper (uno_helper.py) does in the office, one function per request. Every function
takes the request's fields as strings and returns the fields of its answer."""
import uno
from com.sun.star.document.MacroExecMode import ALWAYS_EXECUTE_NO_WARN, NEVER_EXECUTE
from com.sun.star.document.UpdateDocMode import NO_UPDATE

from lo_session import props, url


def handlers(office):
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

    return {'convert': convert, 'run_macro': run_macro, 'picture': picture}
