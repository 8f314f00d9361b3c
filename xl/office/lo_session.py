"""Starts, connects to and stops one private headless LibreOffice.

Every office gets its own user profile and pipe name in a work folder of its own, so that two
offices started at once never hand over to each other, and its output goes to a log file there.
The bridge helper (uno_helper.py) and the test scripts in tests/data all start LibreOffice here.
"""
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

import uno
from com.sun.star.beans import PropertyValue

START_SECONDS = 60


def soffice_path():
    """The soffice program: $SHEAFLOW_SOFFICE, else the one on PATH, else Debian's place."""
    env = os.environ.get('SHEAFLOW_SOFFICE')
    if env:
        return env
    return shutil.which('soffice') or '/usr/lib/libreoffice/program/soffice'


def props(**kw):
    out = []
    for k, v in kw.items():
        p = PropertyValue()
        p.Name, p.Value = k, v
        out.append(p)
    return tuple(out)


def url(path):
    return uno.systemPathToFileUrl(os.path.abspath(path))


class StartError(Exception):
    pass


def stop_on_termination():
    """Makes SIGTERM and SIGHUP end a script that runs alone as an exception would, so that its
    office in a group of its own is closed on the way out instead of being left behind."""
    if threading.current_thread() is not threading.main_thread():
        return
    for sig in (signal.SIGTERM, signal.SIGHUP):
        if signal.getsignal(sig) == signal.SIG_DFL:
            signal.signal(sig, lambda number, frame: sys.exit(128 + number))


class Office:
    """One running office. `own_group` puts it in a process group of its own (for scripts that
    run alone); the bridge helper leaves it in the helper's group, which the program kills as a
    whole."""

    def __init__(self, workdir=None, own_group=True):
        self.owns_dir = workdir is None
        self.dir = workdir or tempfile.mkdtemp(prefix='sheaflow-lo-')
        self.pipe = 'sheaflow_%d_%d' % (os.getpid(), time.monotonic_ns() % 1000000007)
        self.own_group = own_group
        if own_group:
            stop_on_termination()
        program = soffice_path()
        if not os.path.exists(program):
            raise StartError('soffice not found: ' + program)
        self.log = open(os.path.join(self.dir, 'soffice.log'), 'ab')
        self.proc = subprocess.Popen(
            [program, '--headless', '--invisible', '--norestore', '--nologo', '--nodefault',
             '--nolockcheck', '--nofirststartwizard',
             '-env:UserInstallation=' + url(os.path.join(self.dir, 'profile')),
             '--accept=pipe,name=%s;urp;StarOffice.ComponentContext' % self.pipe],
            stdin=subprocess.DEVNULL, stdout=self.log, stderr=self.log,
            start_new_session=own_group)
        local = uno.getComponentContext()
        resolver = local.ServiceManager.createInstanceWithContext(
            'com.sun.star.bridge.UnoUrlResolver', local)
        deadline = time.monotonic() + START_SECONDS
        while True:
            try:
                self.ctx = resolver.resolve(
                    'uno:pipe,name=%s;urp;StarOffice.ComponentContext' % self.pipe)
                break
            except Exception:  # NoConnectException until the office listens
                if self.proc.poll() is not None:
                    self.close()
                    raise StartError('soffice ended at start (status %d)' % self.proc.returncode)
                if time.monotonic() > deadline:
                    self.close()
                    raise StartError('soffice did not answer within %d s' % START_SECONDS)
                time.sleep(0.05)
        self.desktop = self.ctx.ServiceManager.createInstanceWithContext(
            'com.sun.star.frame.Desktop', self.ctx)

    def load(self, path, **kw):
        args = dict(Hidden=True)
        args.update(kw)
        return self.desktop.loadComponentFromURL(url(path), '_blank', 0, props(**args))

    def alive(self):
        if self.proc.poll() is not None:
            return False
        try:
            self.desktop.getComponents()
            return True
        except Exception:
            return False

    def close(self):
        try:
            self.desktop.terminate()
        except Exception:
            pass
        try:
            self.proc.wait(timeout=10)
        except subprocess.TimeoutExpired:
            pass
        # soffice is a script that starts oosplash and soffice.bin: the group takes them all.
        if self.own_group:
            try:
                os.killpg(self.proc.pid, signal.SIGKILL)
            except OSError:
                pass
        elif self.proc.poll() is None:
            self.proc.kill()
        try:
            self.proc.wait(timeout=10)
        except subprocess.TimeoutExpired:
            pass
        self.log.close()
        if self.owns_dir:
            shutil.rmtree(self.dir, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()
        return False
