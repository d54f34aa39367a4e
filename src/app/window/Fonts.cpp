#include "app/window/Fonts.h"

#include <QFontDatabase>
#include <QString>
#include <QStringList>

namespace velmaro {
namespace {

bool load(const std::filesystem::path& file) {
    return QFontDatabase::addApplicationFont(QString::fromStdString(file.string())) >= 0;
}

QFont font(const QStringList& families, QFont::Weight weight, int pixels) {
    QFont font;
    font.setFamilies(families +
                     QStringList(QFontDatabase::systemFont(QFontDatabase::GeneralFont).families()));
    font.setWeight(weight);
    font.setPixelSize(pixels);
    return font;
}

}  // namespace

bool loadFonts(const std::filesystem::path& folder) {
    const bool regular = load(folder / "Mulish-Regular.ttf");
    const bool semiBold = load(folder / "Mulish-SemiBold.ttf");
    return regular && semiBold;
}

QFont regularFont(int pixels) {
    return font({"Mulish"}, QFont::Normal, pixels);
}

QFont semiBoldFont(int pixels) {
    return font({"Mulish SemiBold", "Mulish"}, QFont::DemiBold, pixels);
}

}  // namespace velmaro
