#ifndef HOST_IPTOOL_H
#define HOST_IPTOOL_H

// Checks the text form of IP addresses.
class IPTool {
public:
    // true for a dotted IPv4 address (family 4) or an IPv6 address (family
    // 6); family is left alone otherwise.
    static bool checkIPAddress(char const* ip, int& family);
    static bool checkIPAddress(char const* ip);
};

#endif
