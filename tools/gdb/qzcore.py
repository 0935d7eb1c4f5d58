"""Printers for gdb, which show the library's objects in readable form.

gdb loads this file by itself if the package is installed under /usr. Otherwise, and for a build
tree, load it with a line in ~/.gdbinit or at gdb's prompt:

    source .../tools/gdb/qzcore.py

Printing always ends, also for null pointers, freed memory and random bytes, and shows what could be
read: gdb reads the memory and reports what is not there, and every length has a limit.
"""
import functools

import gdb
import gdb.printing

TEXT_LIMIT = 200  # bytes of a text that are shown
BYTES_LIMIT = 16  # bytes of a buffer that are shown
BUFFER_SIZE = 1024  # longest possible chunk
DEPTH_LIMIT = 64  # components of a path that are shown
CHAIN_LIMIT = 100  # chunks, or entries of a block


def tolerant(show):
    """Makes a printer print a note if an object cannot be read."""
    @functools.wraps(show)
    def shown(printer):
        try:
            return show(printer)
        except (gdb.error, RuntimeError, OverflowError, ValueError) as problem:
            return f"<unreadable: {problem}>"
    return shown


def read(address, length):
    return gdb.selected_inferior().read_memory(int(address), int(length)).tobytes()


def escaped(character):
    if character in '"\\':
        return "\\" + character
    if character.isprintable():
        return character
    return "".join(f"\\x{byte:02x}" for byte in character.encode("utf-8", "surrogateescape"))


def shown(address, length, quote=""):
    """The text at the address, with "..." if it is cut."""
    length = int(length)
    text = read(address, min(length, TEXT_LIMIT)).decode("utf-8", "surrogateescape")
    return quote + "".join(map(escaped, text)) + quote + ("..." if length > TEXT_LIMIT else "")


def quoted(address, length):
    return shown(address, length, '"')


def standard_text(text, quote=""):
    """A std::string, without the printer of the C++ library, which hosts may lack."""
    return shown(text["_M_dataplus"]["_M_p"], text["_M_string_length"], quote)


def counted(number, noun):
    return f"{number} {noun}" + ("" if number == 1 else "s")


class Reference:
    """Mem::Ptr and Common::Ref: the object's own class, and how many references it has. The object
    itself is shown only if it prints as a short text, because it may refer to any number of others."""

    def __init__(self, value):
        self.object = value["object_"]

    @tolerant
    def to_string(self):
        address = int(self.object)
        if not address:
            return "null"
        try:
            kind = str(self.object.dynamic_type.target())
            text = f"{kind} at {address:#x}, {counted(self.references(), 'reference')}"
        except (gdb.error, RuntimeError):
            return f"{self.object.type.target()} at {address:#x} <unreadable>"
        own = {"Mail::Chunk": Chunk, "Mail::MsgImpl": MessageBody}.get(kind)
        return f"{text} = {{{own(self.object.dereference()).to_string()}}}" if own else text


class MemPtr(Reference):
    def references(self):
        return int(self.object.dereference()["refCount_"]["value_"]["_M_i"])


class CommonRef(Reference):
    def references(self):
        return int(self.object.dereference()["refCount"])


class ConfigIterator:
    """ConfigParser::iterator: its entry, as it would be in a file."""

    def __init__(self, value):
        self.entry = value["entry_"]

    @tolerant
    def to_string(self):
        if not int(self.entry):
            return "the end"
        entry = self.entry.dereference()
        if not entry.type.fields():
            return f"entry at {int(self.entry):#x} <needs the library's debugging information>"
        block = int(entry["type"]) == 1
        return self.name(entry, " " if block else " = ") + self.text(entry)

    def name(self, entry, separator):
        if not int(entry["isNamed"]):
            return ""
        kind = gdb.lookup_type("qz::config::NamedEntry").pointer()
        named = self.entry.cast(kind).dereference()
        return shown(named["nameChars"], named["nameLength"]) + separator

    @staticmethod
    def text(entry):
        kind = int(entry["type"])
        if kind in (1, 5):
            count = count_entries(entry["entries"]["first"])
            more = "more than " if count > CHAIN_LIMIT else ""
            noun = ("entry", "entries") if kind == 1 else ("value", "values")
            return f"{{{more}{count} {noun[count != 1]}}}"
        if kind == 4:
            return quoted(entry["chars"], entry["charCount"])
        return str(entry["integer"] if kind == 2 else entry["real"]) if kind in (2, 3) else "<noise>"


def count_entries(first):
    """The number of items, counted up to one more than the limit."""
    count = 0
    while int(first) and count <= CHAIN_LIMIT:
        count, first = count + 1, first["next"]
    return count


class Chunk:
    """Mail::Chunk: its bytes, and the length of the chain that it begins."""

    def __init__(self, value):
        self.value = value

    @tolerant
    def to_string(self):
        size = int(self.value["end_"]) - int(self.value["begin_"])
        if not 0 <= size <= BUFFER_SIZE:
            return "<noise>"
        begin = read(self.value["begin_"], min(size, BYTES_LIMIT)).hex(" ")
        text = f"{counted(size, 'byte')}: {begin}" + (" ..." if size > BYTES_LIMIT else "")
        following = self.following()
        return text + (f", {counted(following, 'chunk')} behind it" if following else "")

    def following(self):
        count, chunk = 0, self.value["next_"]["object_"]
        while int(chunk) and count < CHAIN_LIMIT:
            count, chunk = count + 1, chunk.dereference()["next_"]["object_"]
        return count


class MessageBody:
    """Mail::MsgImpl, which the handles to a message share."""

    def __init__(self, value):
        self.value = value

    def body(self):
        return self.value

    @tolerant
    def to_string(self):
        body = self.body()
        if body is None:
            return "no message"
        text = (f"to {int(body['address_'])}, {counted(int(body['size_']), 'byte')}, "
                f"tag {int(body['tag_'])}, user data {int(body['userData_']):#x}")
        first = body["data_"]["first_"]["object_"]
        return text + (f", {Chunk(first.dereference()).to_string()}" if int(first) else "")


class Message(MessageBody):
    """Mail::Message, a handle."""

    def body(self):
        pointer = self.value["body_"]["object_"]
        return pointer.dereference() if int(pointer) else None


class LuaLoader:
    """Lua::Loader: its position."""

    def __init__(self, value):
        self.value = value

    @tolerant
    def to_string(self):
        vector = self.value["path_"]["_M_impl"]
        start, count = vector["_M_start"], int(vector["_M_finish"] - vector["_M_start"])
        if count < 0:
            return "<noise>"
        components = [standard_text(start[i]) for i in range(min(count, DEPTH_LIMIT))]
        path = ".".join(components) + ("..." if count > DEPTH_LIMIT else "")
        return f"at {path or 'no table'}, file " + standard_text(self.value["file_"], '"')


class LuaKey:
    """Lua::Key: an index or a text."""

    def __init__(self, value):
        self.value = value

    @tolerant
    def to_string(self):
        if not int(self.value["isText_"]):
            return str(int(self.value["index_"]))
        return quoted(self.value["text_"]["_M_str"], self.value["text_"]["_M_len"])


def printers():
    collection = gdb.printing.RegexpCollectionPrettyPrinter("qzCore")
    for name, pattern, printer in (
            ("Mem::Ptr", "^Mem::Ptr<.*>$", MemPtr),
            ("Common::Ref", "^Common::Ref<.*>$", CommonRef),
            ("ConfigParser::iterator", "^ConfigParser::iterator$", ConfigIterator),
            ("Mail::Chunk", "^Mail::Chunk$", Chunk),
            ("Mail::MsgImpl", "^Mail::MsgImpl$", MessageBody),
            ("Mail::Message", "^Mail::Message$", Message),
            ("Lua::Loader", "^Lua::Loader$", LuaLoader),
            ("Lua::Key", "^Lua::Key$", LuaKey)):
        collection.add_printer(name, pattern, printer)
    return collection


gdb.printing.register_pretty_printer(gdb.current_objfile(), printers(), replace=True)
