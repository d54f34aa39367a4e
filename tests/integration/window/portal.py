"""A desktop portal that knows one setting, the colour scheme: each line of standard input is its
new value. Says "ready" once it can be asked."""

import sys
import threading

from gi.repository import Gio, GLib

INTERFACE = """<node><interface name="org.freedesktop.portal.Settings">
  <method name="Read"><arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="v" direction="out"/></method>
  <signal name="SettingChanged"><arg type="s"/><arg type="s"/><arg type="v"/></signal>
</interface></node>"""
PATH = "/org/freedesktop/portal/desktop"
SETTING = ("org.freedesktop.appearance", "color-scheme")

scheme = 0


def called(_connection, _sender, _path, _interface, _method, parameters, invocation):
    if parameters.unpack() == SETTING:
        answer = GLib.Variant("v", GLib.Variant("u", scheme))
        invocation.return_value(GLib.Variant.new_tuple(GLib.Variant.new_variant(answer)))
    else:
        invocation.return_dbus_error("org.freedesktop.portal.Error.NotFound", "no such setting")


def change(value):
    global scheme
    scheme = value
    bus.emit_signal(None, PATH, "org.freedesktop.portal.Settings", "SettingChanged",
                    GLib.Variant("(ssv)", (*SETTING, GLib.Variant("u", value))))


def read_lines():
    for line in sys.stdin:
        GLib.idle_add(change, int(line))
    GLib.idle_add(loop.quit)


bus = Gio.bus_get_sync(Gio.BusType.SESSION)
node = Gio.DBusNodeInfo.new_for_xml(INTERFACE)
bus.register_object(PATH, node.interfaces[0], called, None, None)
scheme = int(sys.argv[1])
loop = GLib.MainLoop()
Gio.bus_own_name_on_connection(bus, "org.freedesktop.portal.Desktop", Gio.BusNameOwnerFlags.NONE,
                               lambda *_: print("ready", flush=True), None)
threading.Thread(target=read_lines, daemon=True).start()
loop.run()
