#ifndef HOST_DATACONVERTER_H
#define HOST_DATACONVERTER_H

#include <sstream>
#include <string>
#include <type_traits>

// Byte and text conversions.
class DataConverter {
public:
    // `length` (1-8) bytes, most significant first, as an unsigned value;
    // 0 for a null buffer or a length outside 1-8.
    static long long toInt(unsigned char* bytes, int length);
    // The low `length` (1-8) bytes of `value`, most significant first.
    static void toBytes(unsigned char* bytes, long long value, int length);

    // The whole text as a T (blanks around it allowed); false, and `value`
    // left alone, if it is not entirely a T or out of its range.
    template <typename T>
    static bool convert(std::string const& text, T& value) {
        static_assert(std::is_arithmetic<T>::value, "numbers only");
        std::istringstream in(text);
        T parsed{};
        if (std::is_unsigned<T>::value) {
            std::string::size_type first = text.find_first_not_of(" \t\r\n");
            if (first != std::string::npos && text[first] == '-') return false;
        }
        if (!(in >> parsed)) return false;
        in >> std::ws;
        if (!in.eof()) return false;
        value = parsed;
        return true;
    }
    static bool convert(int const& value, std::string& text);
    static bool convert(long long const& value, std::string& text);
};

#endif
