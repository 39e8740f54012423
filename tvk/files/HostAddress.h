// Hosts by name and by number.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include <tvk/Export.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// A host: its name and its address of 4 bytes (IPv4) or 16 bytes (IPv6), in network order.
//
// Readers  AssignNumber() and AssignHost() read addresses the way everybody writes them. Assign() reads what
//          the command line calls a host specification and is lenient to the point of error: use it for
//          nothing else.
// Errors   a reader that fails answers false, keeps the text as the name and leaves the address invalid.
//          Nothing throws but std::bad_alloc.
// Threads  a host belongs to one thread at a time. The operations that ask the resolver (Assign, AssignHost,
//          ResolveAddress, ResolveName) may block for as long as a name server takes.
//
//   tvk::HostAddress host;
//   if (host.AssignHost("www.example.org")) connectTo(host.Bytes());
class TVK_EXPORT HostAddress {
 public:
  // No name, no address.
  HostAddress() noexcept = default;
  // 4 or 16 bytes; any other number gives an invalid address. The name is empty.
  explicit HostAddress(std::span<const std::uint8_t> bytes) noexcept { SetBytes(bytes); }

  // Reads a host specification of the command line, up to its first zero:
  //   - with a ":": hexadecimal groups, eight of which make an IPv6 address. "::" stands for one group of 0,
  //     not for many, so that "::1" is 0:0:1:0:0:0:0:0, and what is no number reads as 0;
  //   - any form that inet_addr takes: up to four decimal bytes, so that "127.1" is 127.1.0.0;
  //   - "localhost" and "localhost.localdomain" in any case: 127.0.0.1;
  //   - another name: the first IPv4 address that the resolver knows.
  bool Assign(const StringBase<char>& hostSpecification);

  // Reads a number alone, "192.0.2.1" or "2001:db8::1". An IPv4 address behind "::ffff:" becomes its 4 bytes.
  bool AssignNumber(const StringBase<char>& text);
  // Reads a number or asks the resolver for a name; the local names need no resolver.
  bool AssignHost(const StringBase<char>& nameOrNumber);
  // Takes the name of this machine and no address: ResolveAddress() finds it. False when the machine has
  // none; nothing is changed then.
  bool AssignLocalHost();

  // Finds the address of Name().
  bool ResolveAddress() { return AssignHost(m_name); }
  // Finds the name of the address: "localhost" for 127.0.0.1, else what the resolver knows. An IPv4 address
  // behind "::ffff:" counts as what it is. On failure the name stays.
  bool ResolveName();

  bool IsValid() const noexcept { return m_length != 0; }
  bool IsIPv4() const noexcept { return m_length == 4; }
  bool IsIPv6() const noexcept { return m_length == 16; }

  // The text that was read, or what ResolveName() found.
  const StringBase<char>& Name() const noexcept { return m_name; }
  // The 4 or 16 bytes; none when invalid. They live as long as this object and change with it.
  std::span<const std::uint8_t> Bytes() const noexcept { return {m_bytes.data(), m_length}; }
  // The address as a number, "192.0.2.1" or "2001:db8::1"; empty when invalid.
  StringBase<char> ToText() const;

  // Compares the addresses; names do not count.
  bool operator==(const HostAddress& other) const noexcept {
    return m_length == other.m_length && m_bytes == other.m_bytes;
  }

 private:
  void SetBytes(std::span<const std::uint8_t> bytes) noexcept;
  bool LookUp(const char* name, int family);

  StringBase<char> m_name;
  std::array<std::uint8_t, 16> m_bytes{};  // zero behind m_length
  std::size_t m_length = 0;
};

}  // namespace tvk
