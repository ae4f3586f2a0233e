#ifndef HOST_XMLCODEC_H
#define HOST_XMLCODEC_H

#include <string>

#include "host/XmlConfigureNode.h"

// The small XML reader and writer behind XmlConfigureTool: one root element
// with attributes, text and children; comments, processing instructions, the
// XML declaration and a DOCTYPE are skipped when reading; CDATA is text; the
// five named entities and numeric character references are understood.
// Anything else (unbalanced tags, bad attributes, unknown entities, text
// outside the root) is rejected.
class XmlCodec {
public:
    // false on malformed input; `root` is then unchanged. `error` (may be
    // null) receives a short reason with the byte offset.
    static bool parse(std::string const& text, XmlConfigureNode& root, std::string* error);
    // The document with an XML declaration, four-space indentation and
    // entity escaping; parse(format(n)) gives back n.
    static std::string format(XmlConfigureNode const& root);
    // &, <, >, " and ' as entities.
    static std::string escape(std::string const& text);
};

#endif
