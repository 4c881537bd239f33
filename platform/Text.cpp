// SPDX-License-Identifier: MIT
#include "platform/Text.h"

#include <QByteArrayView>
#include <QString>
#include <QStringDecoder>
#include <QTextBoundaryFinder>

namespace kestrelnet::text {

namespace {

/// Keeps a byte order mark, unlike QString::fromUtf8.
QString decoded(std::string_view text) {
    using Flag = QStringDecoder::Flag;
    QStringDecoder decoder(QStringDecoder::Utf8, Flag::ConvertInitialBom | Flag::Stateless);
    return decoder.decode(text);
}

} // namespace

std::size_t characterCount(std::string_view text) {
    const QString characters = decoded(text);
    QTextBoundaryFinder boundaries(QTextBoundaryFinder::Grapheme, characters);
    std::size_t count = 0;
    while (boundaries.toNextBoundary() != -1) {
        ++count;
    }
    return count;
}

std::string trimWhitespaceAndNewlines(std::string_view text) {
    return decoded(text).trimmed().toStdString();
}

bool isValidUtf8(std::string_view bytes) {
    return QByteArrayView(bytes).isValidUtf8();
}

} // namespace kestrelnet::text
