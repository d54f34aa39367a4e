"""A desktop portal that knows the colour scheme, of which each line of standard input is a new value,
and how large texts are, of which each with a point is one: portal.py SCHEME [FACTOR]. Says "ready" once it can be asked, "inhibited
FLAGS" when somebody wants the person not to count as absent, and "released" when that is over."""

import sys
import threading

from gi.repository import Gio, GLib

INTERFACE = """<node><interface name="org.freedesktop.portal.Settings">
  <method name="Read"><arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="v" direction="out"/></method>
  <method name="ReadAll"><arg type="as" direction="in"/>
    <arg type="a{sa{sv}}" direction="out"/></method>
  <signal name="SettingChanged"><arg type="s"/><arg type="s"/><arg type="v"/></signal>
</interface><interface name="org.freedesktop.portal.Inhibit">
  <method name="Inhibit"><arg type="s" direction="in"/><arg type="u" direction="in"/>
    <arg type="a{sv}" direction="in"/><arg type="o" direction="out"/></method>
</interface><interface name="org.freedesktop.portal.Request"><method name="Close"/></interface></node>"""
PATH = "/org/freedesktop/portal/desktop"
SETTING = ("org.freedesktop.appearance", "color-scheme")
TEXT_SETTING = ("org.gnome.desktop.interface", "text-scaling-factor")

scheme = 0
requests = 0
registrations = {}


def called(_connection, _sender, _path, _interface, method, parameters, invocation):
    known = {SETTING: GLib.Variant("u", scheme), TEXT_SETTING: GLib.Variant("d", factor)}
    if method == "ReadAll":
        # All of them, whichever groups are asked for.
        groups = {group: {key: value} for (group, key), value in known.items()}
        invocation.return_value(GLib.Variant("(a{sa{sv}})", (groups,)))
        return
    value = known.get(parameters.unpack())
    if value:
        answer = GLib.Variant("v", value)
        invocation.return_value(GLib.Variant.new_tuple(GLib.Variant.new_variant(answer)))
    else:
        invocation.return_dbus_error("org.freedesktop.portal.Error.NotFound", "no such setting")


def inhibit(_connection, _sender, _path, _interface, _method, parameters, invocation):
    global requests
    requests += 1
    request = f"{PATH}/request/r{requests}"
    registrations[request] = bus.register_object(request, node.interfaces[2], close, None, None)
    print("inhibited", parameters.unpack()[1], flush=True)
    invocation.return_value(GLib.Variant("(o)", (request,)))


def close(_connection, _sender, path, _interface, _method, _parameters, invocation):
    bus.unregister_object(registrations.pop(path))
    print("released", flush=True)
    invocation.return_value(None)


def change(text):
    global scheme, factor
    if "." in text:
        factor = float(text)
        setting, value = TEXT_SETTING, GLib.Variant("d", factor)
    else:
        scheme = int(text)
        setting, value = SETTING, GLib.Variant("u", scheme)
    bus.emit_signal(None, PATH, "org.freedesktop.portal.Settings", "SettingChanged",
                    GLib.Variant("(ssv)", (*setting, value)))


def read_lines():
    for line in sys.stdin:
        GLib.idle_add(change, line)
    GLib.idle_add(loop.quit)


bus = Gio.bus_get_sync(Gio.BusType.SESSION)
node = Gio.DBusNodeInfo.new_for_xml(INTERFACE)
bus.register_object(PATH, node.interfaces[0], called, None, None)
bus.register_object(PATH, node.interfaces[1], inhibit, None, None)
scheme = int(sys.argv[1])
factor = float(sys.argv[2]) if len(sys.argv) > 2 else 1.0
loop = GLib.MainLoop()
Gio.bus_own_name_on_connection(bus, "org.freedesktop.portal.Desktop", Gio.BusNameOwnerFlags.NONE,
                               lambda *_: print("ready", flush=True), None)
threading.Thread(target=read_lines, daemon=True).start()
loop.run()
