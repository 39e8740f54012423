// The readers of host texts.
#include <arpa/inet.h>
#include <tvk/files/HostAddress.h>

#include <vector>

#include "Input.h"

void fuzz::run(Input in) {
  using tvk::HostAddress;
  const tvk::StringBase<char> text = in.Rest();
  const std::vector<std::uint8_t> bytes(text.begin(),
                                        text.begin() + std::min<std::ptrdiff_t>(std::ssize(text), 16));
  for (const auto reader : {&HostAddress::Assign, &HostAddress::AssignNumber, &HostAddress::AssignHost}) {
    HostAddress host(bytes), again;
    const bool isRead = (host.*reader)(text);
    assert(isRead == host.IsValid() && isRead != host.ToText().empty() && host.Name() == text);
    assert(again.AssignNumber(host.ToText()) == isRead);
    assert(again == host || (host.IsIPv6() && again.IsIPv4() && host.ToText().starts_with("::ffff:")));
    in6_addr number;
    const bool isNumber =
        inet_pton(AF_INET, text.c_str(), &number) == 1 || inet_pton(AF_INET6, text.c_str(), &number) == 1;
    if (reader == &HostAddress::AssignNumber) assert(isRead == (isNumber && text.find('\0') == text.npos));
  }
}
