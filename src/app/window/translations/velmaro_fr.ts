<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr">
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
        <translation>Zéro</translation>
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
        <translation>Source :</translation>
    </message>
    <message>
        <source>Input</source>
        <translation>Source</translation>
    </message>
    <message>
        <source>What the head&apos;s orientation is taken from</source>
        <translation>D’où l’orientation de la tête est lue</translation>
    </message>
    <message>
        <source>IP address</source>
        <translation>Adresse IP</translation>
    </message>
    <message>
        <source>The receiver&apos;s IP address or host name; taken at the next start</source>
        <translation>Adresse IP ou nom du récepteur ; pris en compte au prochain démarrage</translation>
    </message>
    <message>
        <source>The receiver&apos;s UDP port; taken at the next start</source>
        <translation>Port UDP du récepteur ; pris en compte au prochain démarrage</translation>
    </message>
    <message>
        <source>OSC address</source>
        <translation>Adresse OSC</translation>
    </message>
    <message>
        <source>The OSC address of every message; ASCII only</source>
        <translation>L’adresse OSC de chaque message ; ASCII seulement</translation>
    </message>
    <message>
        <source>Set zero pose</source>
        <translation>Définir la position zéro</translation>
    </message>
    <message>
        <source>Reset zero pose</source>
        <translation>Rétablir la position zéro</translation>
    </message>
    <message>
        <source>Make this pose the zero pose</source>
        <translation>Faire de cette pose la position zéro</translation>
    </message>
    <message>
        <source>Undo the zero pose</source>
        <translation>Annuler la position zéro</translation>
    </message>
    <message>
        <source>Send tilt</source>
        <translation>Envoyer l’inclinaison</translation>
    </message>
    <message>
        <source>Stop tracking</source>
        <translation>Arrêter le suivi</translation>
    </message>
    <message>
        <source>Start tracking</source>
        <translation>Démarrer le suivi</translation>
    </message>
    <message>
        <source>Make this pose the zero pose and keep it</source>
        <translation>Faire de cette pose la position zéro et la conserver</translation>
    </message>
    <message>
        <source>Go back to the zero pose that was kept last</source>
        <translation>Revenir à la dernière position zéro conservée</translation>
    </message>
</context>
<context>
    <name>velmaro::Gauge</name>
    <message>
        <source>Pan %1°, tilt %2°</source>
        <translation>Rotation %1°, inclinaison %2°</translation>
    </message>
    <message>
        <source>Head orientation</source>
        <translation>Orientation de la tête</translation>
    </message>
</context>
<context>
    <name>velmaro::RatePicker</name>
    <message>
        <source>Messages per second</source>
        <translation>Messages par seconde</translation>
    </message>
    <message>
        <source>%1 messages per second</source>
        <translation>%1 messages par seconde</translation>
    </message>
    <message>
        <source>Send at most %1 messages per second</source>
        <translation>Envoyer au plus %1 messages par seconde</translation>
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
        <translation>Rotation en degrés</translation>
    </message>
    <message>
        <source>Tilt</source>
        <translation>Tilt</translation>
    </message>
    <message>
        <source>Tilt in degrees</source>
        <translation>Inclinaison en degrés</translation>
    </message>
</context>
<context>
    <name>velmaro::StatusRow</name>
    <message>
        <source>Status</source>
        <translation>État</translation>
    </message>
</context>
<context>
    <name>velmaro::Window</name>
    <message>
        <source>Close</source>
        <translation>Fermer</translation>
    </message>
    <message>
        <source>Minimise</source>
        <translation>Réduire</translation>
    </message>
</context>
</TS>
