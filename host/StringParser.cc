#include "host/StringParser.h"

#include <cstring>

int StringParser::Split(char const* text, char const* separator) {
    m_items.clear();
    if (text == nullptr || *text == '\0') return 0;
    std::string whole(text);
    if (separator == nullptr || *separator == '\0') {
        m_items.push_back(whole);
        return 1;
    }
    size_t width = std::strlen(separator);
    size_t start = 0;
    while (true) {
        size_t found = whole.find(separator, start);
        if (found == std::string::npos) {
            m_items.push_back(whole.substr(start));
            break;
        }
        m_items.push_back(whole.substr(start, found - start));
        start = found + width;
    }
    return static_cast<int>(m_items.size());
}

char const* StringParser::getItem(unsigned int index) const {
    if (index >= m_items.size()) return nullptr;
    return m_items[index].c_str();
}
