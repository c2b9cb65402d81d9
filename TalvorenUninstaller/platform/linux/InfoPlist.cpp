#include "platform/linux/InfoPlist.h"

#include <QXmlStreamReader>

namespace {

// Reads on past the end of the element the reader is at, `depth` levels
// down, as skipCurrentElement() does, but refusing to nest past the limit.
void skipElement(QXmlStreamReader& xml, int depth) {
  for (int level = depth; level >= depth && !xml.atEnd();) {
    const QXmlStreamReader::TokenType token = xml.readNext();
    if (token == QXmlStreamReader::EndElement) --level;
    if (token == QXmlStreamReader::StartElement && ++level > kInfoPlistDepthLimit)
      xml.raiseError(QStringLiteral("nested too deeply"));
  }
}

// Reads the root dictionary's key/value pairs; the reader is left after the
// dictionary's end, or on an error.
std::optional<QString> findInDictionary(QXmlStreamReader& xml, const QString& key) {
  std::optional<QString> found;
  while (xml.readNextStartElement()) {
    if (xml.name() != u"key") {
      xml.raiseError(QStringLiteral("value without a key"));
      return std::nullopt;
    }
    const QString name = xml.readElementText();
    if (!xml.readNextStartElement()) {
      xml.raiseError(QStringLiteral("key without a value"));
      return std::nullopt;
    }
    // A repeated key keeps its first value.
    if (!found && name == key && xml.name() == u"string") {
      found = xml.readElementText();
    } else {
      skipElement(xml, /*depth=*/3);
    }
  }
  return found;
}

}  // namespace

std::optional<QString> infoPlistString(const QByteArray& contents, const QString& key) {
  QXmlStreamReader xml(contents);
  if (!xml.readNextStartElement() || xml.name() != u"plist") return std::nullopt;
  if (!xml.readNextStartElement() || xml.name() != u"dict") return std::nullopt;
  const std::optional<QString> found = findInDictionary(xml, key);

  // A value from a document that breaks off or goes wrong later is not
  // trusted. The rest of the root element is read with the same bound; after
  // it nothing can nest.
  skipElement(xml, /*depth=*/1);
  while (!xml.atEnd()) xml.readNext();
  if (xml.hasError()) return std::nullopt;
  return found;
}
