// The readers of host texts.
#include <arpa/inet.h>
#include <netdb.h>
#include <tvk/files/HostAddress.h>

#include "Input.h"

// No name is known, and none leaves the process.
extern "C" int getaddrinfo(const char*, const char*, const addrinfo*, addrinfo**) { return EAI_NONAME; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using tvk::HostAddress;
  const tvk::StringBase<char> text = fuzz::Input(data, size).Rest();
  for (const auto reader : {&HostAddress::Assign, &HostAddress::AssignNumber, &HostAddress::AssignHost}) {
    HostAddress host(std::span(data, std::min<std::size_t>(size, 16))), again;
    const bool isRead = (host.*reader)(text);
    assert(isRead == host.IsValid() && isRead != host.ToText().empty() && host.Name() == text);
    assert(again.AssignNumber(host.ToText()) == isRead);
    assert(again == host || (host.IsIPv6() && again.IsIPv4() && host.ToText().starts_with("::ffff:")));
    in6_addr number;
    const bool isNumber =
        inet_pton(AF_INET, text.c_str(), &number) == 1 || inet_pton(AF_INET6, text.c_str(), &number) == 1;
    if (reader == &HostAddress::AssignNumber) assert(isRead == (isNumber && text.find('\0') == text.npos));
  }
  return 0;
}
