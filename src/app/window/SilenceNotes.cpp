#include "app/window/SilenceNotes.h"

#include <QCoreApplication>

namespace velmaro {
namespace {

struct Texts {
    Q_DECLARE_TR_FUNCTIONS(velmaro::SilenceNotes)
};

}  // namespace

QString noteOnSilence(Silence silence, const QString& source) {
    switch (silence) {
        case Silence::none:
            break;
        case Silence::noFace:
            return Texts::tr("No face is seen: come into the picture, or make it brighter.");
        case Silence::noPictures:
            return Texts::tr(
                       "The camera “%1” gives no pictures: see whether it is plugged in and "
                       "whether another program uses it.")
                .arg(source);
        case Silence::noPicturesOfFile:
            return Texts::
                tr("The file “%1” gives no pictures: see whether it is whole and plays elsewhere, "
                   "or choose another.")
                    .arg(source);
        case Silence::noMotion:
            return Texts::tr(
                "The headphones send no motion: see whether they are worn and "
                "connected.");
    }
    return {};
}

}  // namespace velmaro
