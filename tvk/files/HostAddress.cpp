#include <tvk/files/HostAddress.h>

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <tvk/text/Characters.h>

namespace tvk {
namespace {

constexpr std::array<std::uint8_t, 4> s_loopback = {127, 0, 0, 1};
constexpr std::array<std::uint8_t, 12> s_mappedPrefix = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};

bool isLocalName(std::string_view name) {
  const auto same = [name](std::string_view other) {
    return std::equal(name.begin(), name.end(), other.begin(), other.end(),
                      [](char a, char b) { return characters::toLower(a) == b; });
  };
  return same("localhost") || same("localhost.localdomain");
}

// The 4 bytes of an IPv4 address behind "::ffff:"; every other address as it is.
std::span<const std::uint8_t> unmapped(std::span<const std::uint8_t> bytes) {
  const bool isMapped =
      bytes.size() == 16 && std::equal(s_mappedPrefix.begin(), s_mappedPrefix.end(), bytes.begin());
  return isMapped ? bytes.subspan(s_mappedPrefix.size()) : bytes;
}

// The address bytes inside a socket address; none for a family that is neither IPv4 nor IPv6.
std::span<const std::uint8_t> addressBytes(const sockaddr* address) {
  const void* bytes = nullptr;
  std::size_t length = 0;
  if (address->sa_family == AF_INET) {
    bytes = &reinterpret_cast<const sockaddr_in*>(address)->sin_addr;
    length = 4;
  } else if (address->sa_family == AF_INET6) {
    bytes = &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
    length = 16;
  }
  return {static_cast<const std::uint8_t*>(bytes), length};
}

// Eight hexadecimal groups between colons, as lenient as strtoul is; groups not given are 0.
std::array<std::uint8_t, 16> readGroups(const char* text) {
  std::array<std::uint8_t, 16> bytes{};
  for (std::size_t at = 0; text != nullptr && at < bytes.size(); at += 2) {
    const unsigned long group = std::strtoul(text, nullptr, 16);
    bytes[at] = static_cast<std::uint8_t>(group >> 8);
    bytes[at + 1] = static_cast<std::uint8_t>(group);
    text = std::strchr(text, ':');
    if (text != nullptr) ++text;
  }
  return bytes;
}

// Up to four decimal numbers between points, the low eight bits of each.
std::array<std::uint8_t, 4> readDecimals(const char* text) {
  std::array<std::uint8_t, 4> bytes{};
  for (std::size_t at = 0; text != nullptr && at < bytes.size(); ++at) {
    bytes[at] = static_cast<std::uint8_t>(std::strtol(text, nullptr, 10));
    text = std::strchr(text, '.');
    if (text != nullptr) ++text;
  }
  return bytes;
}

}  // namespace

bool HostAddress::Assign(const StringBase<char>& hostSpecification) {
  m_name = hostSpecification;
  SetBytes({});
  const char* const text = m_name.c_str();
  if (std::strchr(text, ':') != nullptr) {
    SetBytes(readGroups(text));
  } else if (inet_addr(text) != INADDR_NONE) {
    SetBytes(readDecimals(text));
  } else if (isLocalName(text)) {
    SetBytes(s_loopback);
  } else {
    LookUp(text, AF_INET);
  }
  return IsValid();
}

bool HostAddress::AssignNumber(const StringBase<char>& text) {
  m_name = text;
  SetBytes({});
  std::array<std::uint8_t, 16> bytes{};
  if (m_name.find('\0') != m_name.npos) return false;
  if (inet_pton(AF_INET, m_name.c_str(), bytes.data()) == 1) {
    SetBytes(std::span(bytes).first(4));
  } else if (inet_pton(AF_INET6, m_name.c_str(), bytes.data()) == 1) {
    SetBytes(unmapped(bytes));
  }
  return IsValid();
}

bool HostAddress::AssignHost(const StringBase<char>& nameOrNumber) {
  if (AssignNumber(nameOrNumber)) return true;
  if (m_name.find('\0') != m_name.npos) return false;
  if (isLocalName(m_name)) {
    SetBytes(s_loopback);
    return true;
  }
  return LookUp(m_name.c_str(), AF_UNSPEC);
}

bool HostAddress::AssignLocalHost() {
  char name[256] = {};  // POSIX: at most 255 characters
  if (gethostname(name, sizeof name - 1) != 0) return false;
  m_name = name;
  SetBytes({});
  return true;
}

bool HostAddress::ResolveName() {
  const auto bytes = unmapped(Bytes());
  if (bytes.empty()) return false;
  if (std::equal(bytes.begin(), bytes.end(), s_loopback.begin(), s_loopback.end())) {
    m_name = "localhost";
    return true;
  }
  sockaddr_storage address{};
  socklen_t size = 0;
  if (bytes.size() == 4) {
    auto& internet = reinterpret_cast<sockaddr_in&>(address);
    internet.sin_family = AF_INET;
    std::memcpy(&internet.sin_addr, bytes.data(), bytes.size());
    size = sizeof internet;
  } else {
    auto& internet = reinterpret_cast<sockaddr_in6&>(address);
    internet.sin6_family = AF_INET6;
    std::memcpy(&internet.sin6_addr, bytes.data(), bytes.size());
    size = sizeof internet;
  }
  char name[NI_MAXHOST];
  if (getnameinfo(reinterpret_cast<const sockaddr*>(&address), size, name, sizeof name, nullptr, 0,
                  NI_NAMEREQD) != 0)
    return false;
  m_name = name;
  return true;
}

StringBase<char> HostAddress::ToText() const {
  char text[INET6_ADDRSTRLEN];
  if (!IsValid() || inet_ntop(IsIPv4() ? AF_INET : AF_INET6, m_bytes.data(), text, sizeof text) == nullptr)
    return {};
  return text;
}

void HostAddress::SetBytes(std::span<const std::uint8_t> bytes) noexcept {
  m_bytes.fill(0);
  m_length = bytes.size() == 4 || bytes.size() == 16 ? bytes.size() : 0;
  std::copy_n(bytes.begin(), m_length, m_bytes.begin());
}

// Takes the first address that the resolver knows for the name.
bool HostAddress::LookUp(const char* name, int family) {
  if (*name == '\0') return false;
  addrinfo hints{};
  hints.ai_family = family;
  hints.ai_socktype = SOCK_STREAM;  // one answer an address
  addrinfo* found = nullptr;
  if (getaddrinfo(name, nullptr, &hints, &found) != 0) return false;
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);
  SetBytes(unmapped(addressBytes(found->ai_addr)));
  return IsValid();
}

}  // namespace tvk
