"""Python functions as call-backs of the library, which nothing may be thrown through."""

from __future__ import annotations

import sys
import threading
from typing import Any, Callable, Optional


class Guard:
    """Keeps the first exception of one call's call-backs until the library has returned.

    A signal, Ctrl-C above all, raises in the main thread as soon as Python code runs there, and
    that is the first line of a call-back, in front of every "try". Python then tells
    sys.unraisablehook and goes on; within a guard that exception is kept, too."""

    def __init__(self) -> None:
        self.error: Optional[BaseException] = None
        self._hook: Optional[Callable[[Any], Any]] = None

    def around(self, function: Callable[..., Any], failed: int) -> Callable[..., Any]:
        """function, answering failed instead of raising, and from then on."""

        def call(*arguments: Any) -> Any:
            try:
                return failed if self.error else function(*arguments)
            except BaseException as error:
                self.error = error
                return failed

        return call

    def __enter__(self) -> Guard:
        if threading.current_thread() is threading.main_thread():
            self._hook = sys.unraisablehook
            sys.unraisablehook = self._keep
        return self

    def __exit__(self, *_: Any) -> None:
        """Raises what was kept, which comes before what the library made of it."""
        if self._hook is not None:
            sys.unraisablehook, self._hook = self._hook, None
        error, self.error = self.error, None
        if error is not None:
            try:
                raise error
            finally:
                del error  # its frame would hold itself otherwise

    def _keep(self, ignored: Any) -> None:
        frame = ignored.exc_traceback.tb_frame if ignored.exc_traceback else None
        own = frame is not None and frame.f_code is _CALL and frame.f_locals.get("self") is self
        if own and self.error is None:
            self.error = ignored.exc_value
        elif self._hook is not None:
            self._hook(ignored)


_CALL = Guard().around(print, 0).__code__
