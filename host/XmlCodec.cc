#include "host/XmlCodec.h"

#include <cstring>

namespace NS_XmlCodec {

constexpr int kMaxDepth = 256;

bool isNameStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':' ||
           static_cast<unsigned char>(c) >= 0x80;
}

bool isNameChar(char c) {
    return isNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

void appendUtf8(std::string& out, unsigned long code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

std::string trim(std::string const& text) {
    size_t first = 0;
    while (first < text.size() && isSpace(text[first])) ++first;
    size_t last = text.size();
    while (last > first && isSpace(text[last - 1])) --last;
    return text.substr(first, last - first);
}

class Parser {
public:
    explicit Parser(std::string const& text) : m_text(text) {}

    bool document(XmlConfigureNode& root) {
        if (!misc(true)) return false;
        if (atEnd() || peek() != '<') return fail("no root element");
        if (!element(root, 0)) return false;
        if (!misc(false)) return false;
        if (!atEnd()) return fail("content after the root element");
        return true;
    }

    std::string const& error() const { return m_strError; }

private:
    bool atEnd() const { return m_nPos >= m_text.size(); }
    char peek() const { return m_text[m_nPos]; }
    bool startsWith(char const* prefix) const {
        return m_text.compare(m_nPos, std::strlen(prefix), prefix) == 0;
    }
    void skipSpace() {
        while (!atEnd() && isSpace(peek())) ++m_nPos;
    }
    bool fail(char const* reason) {
        if (m_strError.empty()) m_strError = std::string(reason) + " at " + std::to_string(m_nPos);
        return false;
    }
    bool skipPast(char const* end, char const* reason) {
        size_t found = m_text.find(end, m_nPos);
        if (found == std::string::npos) return fail(reason);
        m_nPos = found + std::strlen(end);
        return true;
    }

    // Blanks, comments and processing instructions around the root; a
    // DOCTYPE only before it.
    bool misc(bool prolog) {
        while (true) {
            skipSpace();
            if (startsWith("<?")) {
                if (!skipPast("?>", "unterminated processing instruction")) return false;
            } else if (startsWith("<!--")) {
                if (!skipPast("-->", "unterminated comment")) return false;
            } else if (prolog && startsWith("<!DOCTYPE")) {
                int depth = 0;
                while (!atEnd()) {
                    char c = m_text[m_nPos++];
                    if (c == '[') ++depth;
                    if (c == ']') --depth;
                    if (c == '>' && depth <= 0) break;
                }
                if (atEnd() && m_text.back() != '>') return fail("unterminated DOCTYPE");
            } else {
                return true;
            }
        }
    }

    bool name(std::string& out) {
        if (atEnd() || !isNameStart(peek())) return fail("bad name");
        size_t start = m_nPos;
        while (!atEnd() && isNameChar(peek())) ++m_nPos;
        out = m_text.substr(start, m_nPos - start);
        return true;
    }

    bool entity(std::string& out) {
        size_t end = m_text.find(';', m_nPos);
        if (end == std::string::npos || end - m_nPos > 12) return fail("bad entity");
        std::string ref = m_text.substr(m_nPos + 1, end - m_nPos - 1);
        m_nPos = end + 1;
        if (ref == "lt") out += '<';
        else if (ref == "gt") out += '>';
        else if (ref == "amp") out += '&';
        else if (ref == "quot") out += '"';
        else if (ref == "apos") out += '\'';
        else if (ref.size() >= 2 && ref[0] == '#') {
            bool hex = ref[1] == 'x' || ref[1] == 'X';
            std::string digits = ref.substr(hex ? 2 : 1);
            if (digits.empty()) return fail("bad character reference");
            unsigned long code = 0;
            for (char c : digits) {
                int digit;
                if (c >= '0' && c <= '9') digit = c - '0';
                else if (hex && c >= 'a' && c <= 'f') digit = c - 'a' + 10;
                else if (hex && c >= 'A' && c <= 'F') digit = c - 'A' + 10;
                else return fail("bad character reference");
                code = code * (hex ? 16 : 10) + static_cast<unsigned long>(digit);
                if (code > 0x10FFFF) return fail("character reference out of range");
            }
            if (code == 0) return fail("character reference out of range");
            appendUtf8(out, code);
        } else {
            return fail("unknown entity");
        }
        return true;
    }

    bool attributeValue(std::string& out) {
        if (atEnd() || (peek() != '"' && peek() != '\'')) return fail("attribute value not quoted");
        char quote = m_text[m_nPos++];
        while (true) {
            if (atEnd()) return fail("unterminated attribute value");
            char c = peek();
            if (c == quote) {
                ++m_nPos;
                return true;
            }
            if (c == '<') return fail("'<' in attribute value");
            if (c == '&') {
                if (!entity(out)) return false;
            } else {
                out += c;
                ++m_nPos;
            }
        }
    }

    bool element(XmlConfigureNode& node, int depth) {
        if (depth > kMaxDepth) return fail("nesting too deep");
        ++m_nPos;  // '<'
        std::string tag;
        if (!name(tag)) return false;
        XmlConfigureNode parsed(tag, depth == 0 ? 1 : 0);
        while (true) {
            bool spaced = !atEnd() && isSpace(peek());
            skipSpace();
            if (atEnd()) return fail("unterminated start tag");
            if (startsWith("/>")) {
                m_nPos += 2;
                node = parsed;
                return true;
            }
            if (peek() == '>') {
                ++m_nPos;
                break;
            }
            if (!spaced) return fail("attributes must be separated by blanks");
            std::string key;
            if (!name(key)) return false;
            skipSpace();
            if (atEnd() || peek() != '=') return fail("attribute without '='");
            ++m_nPos;
            skipSpace();
            std::string value;
            if (!attributeValue(value)) return false;
            if (parsed.hasProperty(key)) return fail("duplicate attribute");
            parsed.setProperty(key, value);
        }
        std::string text;
        while (true) {
            if (atEnd()) return fail("unterminated element");
            char c = peek();
            if (c == '&') {
                if (!entity(text)) return false;
            } else if (c != '<') {
                text += c;
                ++m_nPos;
            } else if (startsWith("</")) {
                m_nPos += 2;
                std::string closing;
                if (!name(closing)) return false;
                if (closing != tag) return fail("mismatched end tag");
                skipSpace();
                if (atEnd() || peek() != '>') return fail("unterminated end tag");
                ++m_nPos;
                parsed.setText(trim(text));
                node = parsed;
                return true;
            } else if (startsWith("<!--")) {
                if (!skipPast("-->", "unterminated comment")) return false;
            } else if (startsWith("<![CDATA[")) {
                size_t start = m_nPos + 9;
                size_t end = m_text.find("]]>", start);
                if (end == std::string::npos) return fail("unterminated CDATA");
                text += m_text.substr(start, end - start);
                m_nPos = end + 3;
            } else if (startsWith("<?")) {
                if (!skipPast("?>", "unterminated processing instruction")) return false;
            } else {
                XmlConfigureNode child;
                if (!element(child, depth + 1)) return false;
                parsed.addConfigNode(child);
            }
        }
    }

    std::string const& m_text;
    size_t m_nPos = 0;
    std::string m_strError;
};

void formatNode(XmlConfigureNode const& node, int indent, std::string& out) {
    std::string pad(static_cast<size_t>(indent) * 4, ' ');
    out += pad + "<" + node.getName();
    for (auto const& property : node.getProperties())
        out += " " + property.first + "=\"" + XmlCodec::escape(property.second) + "\"";
    auto const& children = node.getChildren();
    if (children.empty() && node.getText().empty()) {
        out += "/>\n";
        return;
    }
    if (children.empty()) {
        out += ">" + XmlCodec::escape(node.getText()) + "</" + node.getName() + ">\n";
        return;
    }
    out += ">\n";
    if (!node.getText().empty()) out += pad + "    " + XmlCodec::escape(node.getText()) + "\n";
    for (XmlConfigureNode const& child : children) formatNode(child, indent + 1, out);
    out += pad + "</" + node.getName() + ">\n";
}

}  // namespace NS_XmlCodec

bool XmlCodec::parse(std::string const& text, XmlConfigureNode& root, std::string* error) {
    NS_XmlCodec::Parser parser(text);
    XmlConfigureNode parsed;
    if (!parser.document(parsed)) {
        if (error != nullptr) *error = parser.error();
        return false;
    }
    root = parsed;
    return true;
}

std::string XmlCodec::format(XmlConfigureNode const& root) {
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    NS_XmlCodec::formatNode(root, 0, out);
    return out;
}

std::string XmlCodec::escape(std::string const& text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            case '\'': out += "&apos;"; break;
            default: out += c;
        }
    }
    return out;
}
