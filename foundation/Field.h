#ifndef FOUNDATION_FIELD_H
#define FOUNDATION_FIELD_H

// Value types are plain data reached through get/set pairs named after the
// field. This declares the pair and the member m_<Name> in one line.
#define OV_FIELD(Type, Name, Init)                         \
public:                                                    \
    Type get##Name() const { return m_##Name; }            \
    void set##Name(Type value) { m_##Name = value; }       \
                                                           \
private:                                                   \
    Type m_##Name = Init;

// The same for strings: read by const reference, set from a string or text.
#define OV_STRING_FIELD(Name)                                                   \
public:                                                                         \
    std::string const& get##Name() const { return m_##Name; }                   \
    void set##Name(std::string const& value) { m_##Name = value; }              \
    void set##Name(char const* value) { m_##Name = value ? value : ""; }        \
                                                                                \
private:                                                                        \
    std::string m_##Name;

// Strings that the host reads as C text.
#define OV_CSTRING_FIELD(Name)                                                  \
public:                                                                         \
    char const* get##Name() const { return m_##Name.c_str(); }                  \
    void set##Name(char const* value) { m_##Name = value ? value : ""; }        \
    void set##Name(std::string const& value) { m_##Name = value; }              \
                                                                                \
private:                                                                        \
    std::string m_##Name;

#endif
