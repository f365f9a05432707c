/// What the tests of the XML reader have in common.
#ifndef TAL_TEST_XML_READER_FIXTURE_H
#define TAL_TEST_XML_READER_FIXTURE_H

#include <string>
#include <string_view>
#include <vector>

#include "support/XmlFixture.h"

namespace tal::test {

/// A document with these regions.
inline std::string Document(std::string_view regions) {
    return std::string(kDocumentStart) + std::string(regions) + kDocumentEnd;
}

inline std::string RegionElement(const std::string& name, const std::string& content) {
    return "<region name = \"" + name + "\">" + content + "</region>\n";
}

inline std::string ObjectElement(const std::string& name, const std::string& content) {
    return "<object name = \"" + name + "\">" + content + "\n</object>\n";
}

/// As the writer lays it out; the type's text is "T", which nobody looks at.
inline std::string VariableElement(const std::string& name, const std::string& content) {
    return "\n<variable name = \"" + name + "\"><type>T</type>" + content + "</variable>";
}

inline std::string Value(const std::string& name, const std::string& text) {
    return VariableElement(name, "<value>" + text + "</value>");
}

inline std::string Array(const std::string& name, const std::vector<std::string>& elements) {
    std::string content = "<size>" + std::to_string(elements.size()) + "</size><array>";
    for (const std::string& element : elements) {
        content += "<element>" + element + "</element>";
    }
    return VariableElement(name, content + "</array>");
}

/// An object array; every item is the complete content of one object element.
inline std::string ObjectArray(const std::string& name, const std::vector<std::string>& items) {
    std::string content = "<size>" + std::to_string(items.size()) + "</size><array>";
    for (const std::string& item : items) {
        content += "<objectElement>" + item + "</objectElement>";
    }
    return VariableElement(name, content + "</array>");
}

/// A document with the variables of the object "O" in the region "R".
inline std::string DocumentOf(const std::string& variables) {
    return Document(RegionElement("R", ObjectElement("O", variables)));
}

/// A database with the object "O" in the region "R".
class XmlReaderFixture : public XmlFixture {
protected:
    QBFResult RetrieveVariables(const std::string& variables, unsigned long channelInjector = 0) {
        return RetrieveFrom(DocumentOf(variables), channelInjector);
    }

    [[nodiscard]] host::Variable& At(std::string_view name) { return database_.At("R/O/" + std::string(name)); }

    host::Object& object_ = database_.AddRegion("R").AddObject("O");
};

}  // namespace tal::test

#endif
