#include "host/Property.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <utility>

#include "host/AtomicFile.h"
#include "host/Logger.h"

namespace NS_Property {

std::string trim(std::string const& text) {
    size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) return std::string();
    size_t last = text.find_last_not_of(" \t\r");
    return text.substr(first, last - first + 1);
}

bool toInt(std::string const& text, int& value) {
    if (text.empty()) return false;
    errno = 0;
    char* end = nullptr;
    long parsed = std::strtol(text.c_str(), &end, 10);
    if (errno != 0 || end == text.c_str() || *end != '\0') return false;
    if (parsed < INT_MIN || parsed > INT_MAX) return false;
    value = static_cast<int>(parsed);
    return true;
}

}  // namespace NS_Property

Property::Property(std::string file) : m_strFile(std::move(file)) {}

bool Property::open() {
    m_lines.clear();
    std::string bytes;
    if (!AtomicFile::read(m_strFile, bytes)) return false;
    parse(bytes);
    return true;
}

void Property::parse(std::string const& bytes) {
    m_lines.clear();
    size_t start = 0;
    while (start < bytes.size()) {
        size_t end = bytes.find('\n', start);
        if (end == std::string::npos) end = bytes.size();
        std::string text = bytes.substr(start, end - start);
        if (!text.empty() && text.back() == '\r') text.pop_back();
        start = end + 1;
        Line line;
        line.m_strText = text;
        std::string trimmed = NS_Property::trim(text);
        size_t equals = trimmed.find('=');
        bool comment = !trimmed.empty() && (trimmed[0] == '#' || trimmed[0] == ';');
        if (!comment && equals != std::string::npos) {
            line.m_strKey = NS_Property::trim(trimmed.substr(0, equals));
            line.m_strValue = NS_Property::trim(trimmed.substr(equals + 1));
        }
        m_lines.push_back(line);
    }
}

void Property::close() { m_lines.clear(); }

bool Property::persist() {
    std::string bytes;
    for (Line const& line : m_lines) {
        bytes += line.m_strText;
        bytes += '\n';
    }
    return AtomicFile::write(m_strFile, bytes);
}

bool Property::getString(std::string const& key, std::string& value) const {
    // The last line of a key wins, as when a file is appended to by hand.
    for (auto line = m_lines.rbegin(); line != m_lines.rend(); ++line) {
        if (!line->m_strKey.empty() && line->m_strKey == key) {
            value = line->m_strValue;
            return true;
        }
    }
    return false;
}

bool Property::get(std::string const& key, int& value) const {
    std::string text;
    if (!getString(key, text)) return false;
    if (NS_Property::toInt(text, value)) return true;
    // A file edited by hand: the setting keeps its default, and says why.
    std::string const line = m_strFile + ": " + key + "=" + text.substr(0, 64) + " is not a number; default kept";
    Logger::writeLog("ConfigError", line.c_str(), nullptr, 0);
    return false;
}

void Property::set(std::string const& key, int value) {
    std::string text = std::to_string(value);
    bool found = false;
    for (Line& line : m_lines) {
        if (line.m_strKey.empty() || line.m_strKey != key) continue;
        line.m_strValue = text;
        line.m_strText = key + "=" + text;
        found = true;
    }
    if (found) return;
    Line line;
    line.m_strKey = key;
    line.m_strValue = text;
    line.m_strText = key + "=" + text;
    m_lines.push_back(line);
}
