#include "view/access.h"

#include <arpa/inet.h>

namespace orka::board {

namespace {

std::string without_port(const std::string &header)
{
    if (header.starts_with('['))
        return header.substr(1, header.find(']') - 1);
    return header.substr(0, header.find(':'));
}

} // namespace

bool is_numeric_address(const std::string &host)
{
    in6_addr address{};
    return inet_pton(AF_INET, host.c_str(), &address) == 1 ||
           inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

bool is_own_host(const std::string &header, const std::string &bound)
{
    const std::string host = without_port(header);
    const bool is_bound_to_all = bound == "0.0.0.0" || bound == "::";
    return host == "localhost" || host == bound || (is_bound_to_all && is_numeric_address(host));
}

bool is_own_origin(const std::string &origin, const std::string &host_header)
{
    return origin.empty() || origin == "http://" + host_header;
}

} // namespace orka::board
