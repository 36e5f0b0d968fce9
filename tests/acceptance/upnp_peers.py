"""Other people's stacks as peers, one a run: upnp_peers.py miniupnpc TARGET | gssdp INTERFACE UUID | libupnp INTERFACE UUID

The announcers print a line when they are ready and end with their standard input."""
import ctypes
import sys

DEVICE = "urn:nox-instruments:device:pd:1"


class Device(ctypes.Structure):
    """struct UPNPDev"""


Device._fields_ = [("next", ctypes.POINTER(Device)), ("url", ctypes.c_char_p), ("st", ctypes.c_char_p),
                   ("usn", ctypes.c_char_p)]


def miniupnpc(target):
    find = ctypes.CDLL("libminiupnpc.so.17").upnpDiscoverDevices
    find.restype = ctypes.POINTER(Device)
    targets = (ctypes.c_char_p * 2)(target.encode(), None)
    error = ctypes.c_int()
    found = find(targets, 2000, None, b"/nonexistent", 0, 0, ctypes.c_ubyte(2), ctypes.byref(error), 1)
    while found:
        print(found.contents.usn.decode(), found.contents.url.decode())
        found = found.contents.next


def gssdp(interface, uuid):
    import gi
    gi.require_version("GSSDP", "1.6")
    from gi.repository import GLib, GSSDP
    group = GSSDP.ResourceGroup.new(GSSDP.Client.new(interface))
    location = "http://10.77.0.1:4711/description.xml"
    group.add_resource_simple("upnp:rootdevice", f"uuid:{uuid}::upnp:rootdevice", location)
    group.add_resource_simple(DEVICE, f"uuid:{uuid}::{DEVICE}", location)
    group.set_available(True)
    loop = GLib.MainLoop()
    GLib.io_add_watch(sys.stdin.fileno(), GLib.IO_IN | GLib.IO_HUP, lambda *_: loop.quit())
    print("ready", flush=True)
    loop.run()
    group.set_available(False)
    # The good-byes are queued.
    GLib.timeout_add(1000, loop.quit)
    loop.run()


DESCRIPTION = """<?xml version="1.0"?><root xmlns="urn:schemas-upnp-org:device-1-0">
<specVersion><major>1</major><minor>0</minor></specVersion><device><deviceType>{}</deviceType>
<friendlyName>peer</friendlyName><manufacturer>peer</manufacturer><modelName>peer</modelName><UDN>uuid:{}</UDN></device></root>"""


def libupnp(interface, uuid):
    library = ctypes.CDLL("libupnp.so.13")

    def check(status):
        if status != 0:
            sys.exit(f"status {status}")

    check(library.UpnpInit2(interface.encode(), ctypes.c_ushort(0)))
    text = DESCRIPTION.format(DEVICE, uuid).encode()
    call_back = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p)(lambda *_: 0)
    handle = ctypes.c_int()
    check(library.UpnpRegisterRootDevice2(2, text, ctypes.c_size_t(len(text)), 1, call_back, None, ctypes.byref(handle)))
    check(library.UpnpSendAdvertisement(handle, 100))
    print("ready", flush=True)
    sys.stdin.read()
    library.UpnpUnRegisterRootDevice(handle)
    library.UpnpFinish()


if __name__ == "__main__":
    {"miniupnpc": miniupnpc, "gssdp": gssdp, "libupnp": libupnp}[sys.argv[1]](*sys.argv[2:])
