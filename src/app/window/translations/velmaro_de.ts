<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de">
<context>
    <name>velmaro::ControlPanel</name>
    <message>
        <source>IP</source>
        <translation>IP</translation>
    </message>
    <message>
        <source>Port</source>
        <translation>Port</translation>
    </message>
    <message>
        <source>OSC</source>
        <translation>OSC</translation>
    </message>
    <message>
        <source>Set</source>
        <translation>Null</translation>
    </message>
    <message>
        <source>Reset</source>
        <translation>Reset</translation>
    </message>
    <message>
        <source>Tilt</source>
        <translation>Tilt</translation>
    </message>
    <message>
        <source>Input:</source>
        <translation>Quelle:</translation>
    </message>
    <message>
        <source>Input</source>
        <translation>Quelle</translation>
    </message>
    <message>
        <source>What the head&apos;s orientation is taken from</source>
        <translation>Woraus die Ausrichtung des Kopfes gelesen wird</translation>
    </message>
    <message>
        <source>IP address</source>
        <translation>IP-Adresse</translation>
    </message>
    <message>
        <source>The receiver&apos;s IP address or host name; taken at the next start</source>
        <translation>IP-Adresse oder Rechnername des Empfängers; gilt ab dem nächsten Start</translation>
    </message>
    <message>
        <source>The receiver&apos;s UDP port; taken at the next start</source>
        <translation>UDP-Port des Empfängers; gilt ab dem nächsten Start</translation>
    </message>
    <message>
        <source>OSC address</source>
        <translation>OSC-Adresse</translation>
    </message>
    <message>
        <source>The OSC address of every message; ASCII only</source>
        <translation>Die OSC-Adresse jeder Nachricht; nur ASCII</translation>
    </message>
    <message>
        <source>Set zero pose</source>
        <translation>Nullstellung setzen</translation>
    </message>
    <message>
        <source>Reset zero pose</source>
        <translation>Nullstellung zurücksetzen</translation>
    </message>
    <message>
        <source>Make this pose the zero pose</source>
        <translation>Diese Haltung zur Nullstellung machen</translation>
    </message>
    <message>
        <source>Undo the zero pose</source>
        <translation>Die Nullstellung aufheben</translation>
    </message>
    <message>
        <source>Send tilt</source>
        <translation>Neigung senden</translation>
    </message>
    <message>
        <source>Stop tracking</source>
        <translation>Verfolgung beenden</translation>
    </message>
    <message>
        <source>Start tracking</source>
        <translation>Verfolgung starten</translation>
    </message>
    <message>
        <source>Make this pose the zero pose and keep it</source>
        <translation>Diese Haltung zur Nullstellung machen und behalten</translation>
    </message>
    <message>
        <source>Go back to the zero pose that was kept last</source>
        <translation>Zurück zur zuletzt behaltenen Nullstellung</translation>
    </message>
</context>
<context>
    <name>velmaro::Gauge</name>
    <message>
        <source>Pan %1°, tilt %2°</source>
        <translation>Drehung %1°, Neigung %2°</translation>
    </message>
    <message>
        <source>Head orientation</source>
        <translation>Ausrichtung des Kopfes</translation>
    </message>
</context>
<context>
    <name>velmaro::RatePicker</name>
    <message>
        <source>Messages per second</source>
        <translation>Nachrichten pro Sekunde</translation>
    </message>
    <message>
        <source>%1 messages per second</source>
        <translation>%1 Nachrichten pro Sekunde</translation>
    </message>
    <message>
        <source>Send at most %1 messages per second</source>
        <translation>Höchstens %1 Nachrichten pro Sekunde senden</translation>
    </message>
</context>
<context>
    <name>velmaro::Readout</name>
    <message>
        <source>Pan</source>
        <translation>Pan</translation>
    </message>
    <message>
        <source>Pan in degrees</source>
        <translation>Drehung in Grad</translation>
    </message>
    <message>
        <source>Tilt</source>
        <translation>Tilt</translation>
    </message>
    <message>
        <source>Tilt in degrees</source>
        <translation>Neigung in Grad</translation>
    </message>
</context>
<context>
    <name>velmaro::StatusRow</name>
    <message>
        <source>Status</source>
        <translation>Zustand</translation>
    </message>
</context>
<context>
    <name>velmaro::Window</name>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Minimise</source>
        <translation>Minimieren</translation>
    </message>
</context>
</TS>
