"""How gdb shows a zed::ByteBuffer: its size and its bytes; not those of one that is to be wiped.

Loaded by itself beside the installed library; by hand: (gdb) source zed-gdb.py.
"""
import gdb
import gdb.printing


class ByteBuffer:
    def __init__(self, value):
        self._value = value
        self._size = int(value["m_size"])
        self._secret = bool(value["m_wipe"])

    def to_string(self):
        secret = ", to be wiped" if self._secret else ""
        return f"{self._size} bytes, capacity {int(self._value['m_capacity'])}{secret}"

    def children(self):
        if self._size and not self._secret:
            pair = self._value["m_data"]["_M_t"]["_M_t"]  # pointer and deleter
            pair = pair[pair.type.fields()[0]]
            start = pair[pair.type.fields()[1]]["_M_head_impl"]
            array = start.type.target().array(self._size - 1)
            yield "bytes", start.cast(array.pointer()).dereference()


printers = gdb.printing.RegexpCollectionPrettyPrinter("zed")
printers.add_printer("ByteBuffer", r"^zed::ByteBuffer$", ByteBuffer)
gdb.printing.register_pretty_printer(gdb.current_objfile(), printers, replace=True)
