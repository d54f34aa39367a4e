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
        <source>OSC address</source>
        <translation>Adresse OSC</translation>
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
    <message>
        <source>The receiver&apos;s UDP port; taken at the next start, but nothing is sent while it is no port</source>
        <translation>Port UDP du récepteur ; pris en compte au prochain démarrage, mais rien n’est envoyé sans port valable</translation>
    </message>
    <message>
        <source>The OSC address of every message, ASCII only; acts at once</source>
        <translation>L’adresse OSC de chaque message, ASCII seulement ; agit aussitôt</translation>
    </message>
</context>
<context>
    <name>velmaro::DestinationNotes</name>
    <message>
        <source>%1, port %2</source>
        <translation>%1, port %2</translation>
    </message>
    <message>
        <source>Takes effect at the next start. Until then everything goes to %1.</source>
        <translation>Pris en compte au prochain démarrage. D’ici là, tout va à %1.</translation>
    </message>
    <message>
        <source>Nothing arrives at %1 (%2): start the receiver, or correct address and port for the next start.</source>
        <translation>Rien n’arrive à %1 (%2) : démarrez le récepteur, ou corrigez l’adresse et le port pour le prochain démarrage.</translation>
    </message>
    <message>
        <source>There is no address: type that of the receiver.</source>
        <translation>L’adresse manque : saisissez celle du récepteur.</translation>
    </message>
    <message>
        <source>There is a blank in the address: remove it.</source>
        <translation>Il y a une espace dans l’adresse : supprimez-la.</translation>
    </message>
    <message>
        <source>“%1” cannot be reached (%2): correct the address.</source>
        <translation>« %1 » est introuvable (%2) : corrigez l’adresse.</translation>
    </message>
    <message>
        <source>There is a blank in the port: remove it. Until then nothing is sent.</source>
        <translation>Il y a une espace dans le port : supprimez-la. D’ici là, rien n’est envoyé.</translation>
    </message>
    <message>
        <source>This is no port: type a number from 1 to 65535. Until then nothing is sent.</source>
        <translation>Ce n’est pas un port : saisissez un nombre de 1 à 65535. D’ici là, rien n’est envoyé.</translation>
    </message>
    <message>
        <source>Nobody can listen at port 0: type a number from 1 to 65535.</source>
        <translation>Personne ne peut écouter sur le port 0 : saisissez un nombre de 1 à 65535.</translation>
    </message>
    <message>
        <source>There is a blank in the OSC address: remove it, since receivers take it for a part of the address.</source>
        <translation>Il y a une espace dans l’adresse OSC : supprimez-la, car les récepteurs la prennent pour une partie de l’adresse.</translation>
    </message>
    <message>
        <source>An OSC address begins with a slash: type one such as /ypr.</source>
        <translation>Une adresse OSC commence par une barre oblique : saisissez par exemple /ypr.</translation>
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
    <name>velmaro::Menu</name>
    <message>
        <source>Keep these settings</source>
        <translation>Garder ces réglages</translation>
    </message>
    <message>
        <source>Forget the stored pose</source>
        <translation>Oublier la pose mémorisée</translation>
    </message>
    <message>
        <source>Open the log</source>
        <translation>Ouvrir le journal</translation>
    </message>
    <message>
        <source>Receiver</source>
        <translation>Récepteur</translation>
    </message>
    <message>
        <source>About Velmaro</source>
        <translation>À propos de Velmaro</translation>
    </message>
    <message>
        <source>Measures where your head points and streams it as Open Sound Control. Everything is measured on this computer; only the angles leave it.

MIT licence. The face models are Apache-2.0, the font is OFL.</source>
        <translation>Mesure où pointe la tête et l’envoie par Open Sound Control. Tout est mesuré sur cet ordinateur ; seuls les angles le quittent.

Licence MIT. Les modèles de visage sont sous Apache-2.0, la police sous OFL.</translation>
    </message>
    <message>
        <source>Messages</source>
        <translation>Messages</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Quitter</translation>
    </message>
</context>
<context>
    <name>velmaro::MessageList</name>
    <message>
        <source>Messages</source>
        <translation>Messages</translation>
    </message>
    <message>
        <source>There is nothing to tell.</source>
        <translation>Il n’y a rien à signaler.</translation>
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
        <source>Send at most %1 messages per second; acts at once</source>
        <translation>Envoyer au plus %1 messages par seconde ; agit aussitôt</translation>
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
    <name>velmaro::SilenceNotes</name>
    <message>
        <source>No face is seen: come into the picture, or make it brighter.</source>
        <translation>Aucun visage n’est vu : venez dans l’image ou ajoutez de la lumière.</translation>
    </message>
    <message>
        <source>The camera “%1” gives no pictures: see whether it is plugged in and whether another program uses it.</source>
        <translation>La caméra « %1 » ne donne pas d’images : vérifiez qu’elle est branchée et qu’aucun autre programme ne l’utilise.</translation>
    </message>
    <message>
        <source>The file “%1” gives no pictures: see whether it is whole and plays elsewhere, or choose another.</source>
        <translation>Le fichier « %1 » ne donne pas d’images : vérifiez qu’il est entier et lisible ailleurs, ou choisissez-en un autre.</translation>
    </message>
    <message>
        <source>The headphones send no motion: see whether they are worn and connected.</source>
        <translation>Le casque n’envoie pas de mouvement : vérifiez qu’il est porté et connecté.</translation>
    </message>
</context>
<context>
    <name>velmaro::StatusRow</name>
    <message>
        <source>Status</source>
        <translation>État</translation>
    </message>
    <message>
        <source>Message</source>
        <translation>Message</translation>
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
