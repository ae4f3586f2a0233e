#ifndef FOUNDATION_OVRUNTIMEERROR_H
#define FOUNDATION_OVRUNTIMEERROR_H

#include <exception>
#include <string>

// The one exception type the engine catches by name. Raised by host file
// objects and by SafePointer; facades turn it into OV_RECORD_IO_ERROR.
class OVRuntimeError : public std::exception {
public:
    explicit OVRuntimeError(std::string const& message) : m_strMessage(message) {}
    explicit OVRuntimeError(char const* message) : m_strMessage(message ? message : "") {}

    char const* what() const noexcept override { return m_strMessage.c_str(); }

private:
    std::string m_strMessage;
};

#endif
