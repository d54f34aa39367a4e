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
        <source>OSC address</source>
        <translation>OSC-Adresse</translation>
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
    <message>
        <source>The receiver&apos;s UDP port; taken at the next start, but nothing is sent while it is no port</source>
        <translation>UDP-Port des Empfängers; gilt ab dem nächsten Start, doch ohne gültigen Port wird nichts gesendet</translation>
    </message>
    <message>
        <source>The OSC address of every message, ASCII only; acts at once</source>
        <translation>Die OSC-Adresse jeder Nachricht, nur ASCII; wirkt sofort</translation>
    </message>
</context>
<context>
    <name>velmaro::DestinationNotes</name>
    <message>
        <source>%1, port %2</source>
        <translation>%1, Port %2</translation>
    </message>
    <message>
        <source>Takes effect at the next start. Until then everything goes to %1.</source>
        <translation>Gilt ab dem nächsten Start. Bis dahin geht alles an %1.</translation>
    </message>
    <message>
        <source>Nothing arrives at %1 (%2): start the receiver, or correct address and port for the next start.</source>
        <translation>Bei %1 kommt nichts an (%2): den Empfänger starten, oder Adresse und Port für den nächsten Start berichtigen.</translation>
    </message>
    <message>
        <source>There is no address: type that of the receiver.</source>
        <translation>Die Adresse fehlt: die des Empfängers eingeben.</translation>
    </message>
    <message>
        <source>There is a blank in the address: remove it.</source>
        <translation>In der Adresse steht ein Leerzeichen: es entfernen.</translation>
    </message>
    <message>
        <source>“%1” cannot be reached (%2): correct the address.</source>
        <translation>„%1“ ist nicht erreichbar (%2): die Adresse berichtigen.</translation>
    </message>
    <message>
        <source>There is a blank in the port: remove it. Until then nothing is sent.</source>
        <translation>Im Port steht ein Leerzeichen: es entfernen. Bis dahin wird nichts gesendet.</translation>
    </message>
    <message>
        <source>This is no port: type a number from 1 to 65535. Until then nothing is sent.</source>
        <translation>Das ist kein Port: eine Zahl von 1 bis 65535 eingeben. Bis dahin wird nichts gesendet.</translation>
    </message>
    <message>
        <source>Nobody can listen at port 0: type a number from 1 to 65535.</source>
        <translation>An Port 0 kann niemand hören: eine Zahl von 1 bis 65535 eingeben.</translation>
    </message>
    <message>
        <source>There is a blank in the OSC address: remove it, since receivers take it for a part of the address.</source>
        <translation>In der OSC-Adresse steht ein Leerzeichen: es entfernen, denn Empfänger halten es für einen Teil der Adresse.</translation>
    </message>
    <message>
        <source>An OSC address begins with a slash: type one such as /ypr.</source>
        <translation>Eine OSC-Adresse beginnt mit einem Schrägstrich: etwa /ypr eingeben.</translation>
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
    <name>velmaro::Menu</name>
    <message>
        <source>Keep these settings</source>
        <translation>Diese Einstellungen behalten</translation>
    </message>
    <message>
        <source>Forget the stored pose</source>
        <translation>Die gespeicherte Haltung vergessen</translation>
    </message>
    <message>
        <source>Open the log</source>
        <translation>Das Protokoll öffnen</translation>
    </message>
    <message>
        <source>Receiver</source>
        <translation>Empfänger</translation>
    </message>
    <message>
        <source>About Velmaro</source>
        <translation>Über Velmaro</translation>
    </message>
    <message>
        <source>Measures where your head points and streams it as Open Sound Control. Everything is measured on this computer; only the angles leave it.

MIT licence. The face models are Apache-2.0, the font is OFL.</source>
        <translation>Misst, wohin der Kopf zeigt, und sendet es als Open Sound Control. Alles wird auf diesem Rechner gemessen; nur die Winkel verlassen ihn.

MIT-Lizenz. Die Gesichtsmodelle stehen unter Apache-2.0, die Schrift unter OFL.</translation>
    </message>
    <message>
        <source>Messages</source>
        <translation>Meldungen</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
</context>
<context>
    <name>velmaro::MessageList</name>
    <message>
        <source>Messages</source>
        <translation>Meldungen</translation>
    </message>
    <message>
        <source>There is nothing to tell.</source>
        <translation>Es gibt nichts zu melden.</translation>
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
        <source>Send at most %1 messages per second; acts at once</source>
        <translation>Höchstens %1 Nachrichten pro Sekunde senden; wirkt sofort</translation>
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
    <name>velmaro::SilenceNotes</name>
    <message>
        <source>No face is seen: come into the picture, or make it brighter.</source>
        <translation>Kein Gesicht ist zu sehen: ins Bild kommen oder für mehr Licht sorgen.</translation>
    </message>
    <message>
        <source>The camera “%1” gives no pictures: see whether it is plugged in and whether another program uses it.</source>
        <translation>Die Kamera „%1“ liefert keine Bilder: nachsehen, ob sie angeschlossen ist und ob ein anderes Programm sie benutzt.</translation>
    </message>
    <message>
        <source>The file “%1” gives no pictures: see whether it is whole and plays elsewhere, or choose another.</source>
        <translation>Die Datei „%1“ liefert keine Bilder: nachsehen, ob sie vollständig ist und anderswo läuft, oder eine andere wählen.</translation>
    </message>
    <message>
        <source>The headphones send no motion: see whether they are worn and connected.</source>
        <translation>Der Kopfhörer sendet keine Bewegung: nachsehen, ob er getragen wird und verbunden ist.</translation>
    </message>
</context>
<context>
    <name>velmaro::StatusRow</name>
    <message>
        <source>Status</source>
        <translation>Zustand</translation>
    </message>
    <message>
        <source>Message</source>
        <translation>Meldung</translation>
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
