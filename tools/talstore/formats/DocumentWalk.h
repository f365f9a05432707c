/// @file
/// A document from its beginning to its end, or to the place where no reader goes on.
#ifndef TALSTORE_DOCUMENT_WALK_H
#define TALSTORE_DOCUMENT_WALK_H

#include <expat.h>

#include <cstddef>
#include <exception>
#include <memory>
#include <string_view>
#include <type_traits>

namespace tal::talstore {

/// Expat with handlers that may throw. Ctrl-C ends it.
class DocumentWalk {
public:
    DocumentWalk(const DocumentWalk&) = delete;
    DocumentWalk& operator=(const DocumentWalk&) = delete;

protected:
    /// Throws std::bad_alloc.
    DocumentWalk();
    virtual ~DocumentWalk() = default;

    /// @param piece  What follows the piece before, less than 2 GiB.
    /// @return whether it can be parsed. Throws what a handler throws.
    [[nodiscard]] bool Parse(std::string_view piece, bool isLast);

    virtual void StartElement(const char* name, const char** attributes) = 0;
    virtual void EndElement(const char* name) = 0;
    /// Is called when TakeTexts has been.
    virtual void Text(std::string_view /*text*/) {}
    void TakeTexts();

    /// For handlers that do not throw.
    [[nodiscard]] XML_Parser Parser() const { return parser_.get(); }
    /// Where what is handled begins, counted from the first piece's beginning.
    [[nodiscard]] std::size_t Offset() const { return static_cast<std::size_t>(XML_GetCurrentByteIndex(Parser())); }
    [[nodiscard]] std::size_t EndOffset() const {
        return Offset() + static_cast<std::size_t>(XML_GetCurrentByteCount(Parser()));
    }

private:
    template <class Step>
    void Guard(Step step) noexcept;
    static void XMLCALL OnStart(void* self, const char* name, const char** attributes);
    static void XMLCALL OnEnd(void* self, const char* name);
    static void XMLCALL OnText(void* self, const char* text, int length);

    struct ParserDeleter {
        void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
    };
    std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserDeleter> parser_{XML_ParserCreate(nullptr)};
    std::exception_ptr failure_;
};

}  // namespace tal::talstore

#endif
