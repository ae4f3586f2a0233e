#ifndef HOST_STRINGPARSER_H
#define HOST_STRINGPARSER_H

#include <string>
#include <vector>

// Splits a text at every occurrence of a separator string. Empty pieces are
// kept ("a__b" at "_" is "a", "", "b"), so a name's part count is exact. The
// text is not changed; the pieces are copies. One owner.
class StringParser {
public:
    StringParser() = default;

    // Answers the number of pieces; 0 for a null or empty text. A null or
    // empty separator gives the whole text as one piece.
    int Split(char const* text, char const* separator);
    int Getcount() const { return static_cast<int>(m_items.size()); }
    // The piece, or null past the end. Valid until the next Split.
    char const* getItem(unsigned int index) const;

private:
    std::vector<std::string> m_items;
};

#endif
