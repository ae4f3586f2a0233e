#ifndef HOST_PROPERTY_H
#define HOST_PROPERTY_H

#include <string>
#include <vector>

// A file of "key=value" integer lines. Blanks around key and value are
// ignored; lines starting with '#' or ';', blank lines and lines that are not
// key=value are kept as they are and written back by persist, so a hand-made
// file keeps its comments. Not thread-safe; one owner.
class Property {
public:
    explicit Property(std::string file);

    // Reads the file; false if it cannot be read (the object is then empty,
    // and set + persist still create the file).
    bool open();
    // Forgets the contents; does not write.
    void close();
    // Writes the lines back atomically (temporary file, fsync, rename); the
    // folder must exist. true on success.
    bool persist();

    // The lines of a file's contents, as open reads them.
    void parse(std::string const& bytes);

    // Leaves `value` alone and answers false if the key is absent or its
    // value is not an integer; the latter also goes to "ConfigError.log".
    bool get(std::string const& key, int& value) const;
    // Changes the key's line in place, or appends a line.
    void set(std::string const& key, int value);
    // The raw text of a key's value.
    bool getString(std::string const& key, std::string& value) const;

    std::string const& getFileName() const { return m_strFile; }

private:
    struct Line {
        std::string m_strText;  // the line as read, for lines that are not key=value
        std::string m_strKey;   // empty for kept lines
        std::string m_strValue;
    };

    std::string m_strFile;
    std::vector<Line> m_lines;
};

#endif
