#include "host/IPTool.h"

#include <arpa/inet.h>

bool IPTool::checkIPAddress(char const* ip, int& family) {
    if (ip == nullptr || *ip == '\0') return false;
    unsigned char buffer[16];
    if (inet_pton(AF_INET, ip, buffer) == 1) {
        family = 4;
        return true;
    }
    if (inet_pton(AF_INET6, ip, buffer) == 1) {
        family = 6;
        return true;
    }
    return false;
}

bool IPTool::checkIPAddress(char const* ip) {
    int family = 0;
    return checkIPAddress(ip, family);
}
