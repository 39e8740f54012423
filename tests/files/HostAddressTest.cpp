#include <tvk/files/HostAddress.h>
#include <tvk/text/Hexadecimal.h>

#include "support/Support.h"

using tvk::HostAddress;

TEST(HostAddress, SpecificationsOfTheCommandLineAndNumbers) {
  for (const auto& [text, specification, number] : std::initializer_list<std::array<const char*, 3>>{
           {"0x7f.1 x", "00010000", ""},
           {"255.255.255.255", "FFFFFFFF", "FFFFFFFF"},
           {"localhost.LOCALDOMAIN", "7F000001", ""},
           {"no-such-host.invalid", "", ""},
           {"1:2:3:4:5:6:7:8:9:a:b:c:d:e:f:10:11:12", "00010002000300040005000600070008", ""},
           {"2001:db8::1", "20010DB8000000010000000000000000", "20010DB8000000000000000000000001"},
           {"12345:-1:0x1f: 7:host:fffff", "2345FFFF001F00070000FFFF00000000", ""},
           {"::ffff:192.0.2.1", "00000000FFFF01920000000000000000", "C0000201"}}) {
    HostAddress host;
    const auto bytes = [&] { return tvk::EncodeHexadecimal(host.Bytes()); };
    EXPECT_TRUE(host.Assign(text) == host.IsValid() && host.Name() == text) << text;
    EXPECT_EQ(bytes(), specification) << text;
    EXPECT_TRUE(host.AssignNumber(text) == host.IsValid() && bytes() == number) << text;
  }
}

TEST(HostAddress, ResolvesInBothDirections) {
  HostAddress host;
  for (const char* name : {"localhost", "LOCALHOST.localdomain", "127.0.0.1", "::ffff:127.0.0.1"}) {
    EXPECT_TRUE(host.AssignHost(name) && host.ToText() == "127.0.0.1") << name;
    EXPECT_TRUE(host.ResolveName() && host.Name() == "localhost") << name;
  }
  const auto mapped = tvk::DecodeHexadecimal("00000000000000000000FFFF7F000001");
  EXPECT_TRUE(HostAddress(std::span(mapped).last(4)) == host &&
              !HostAddress(std::span(mapped).last(5)).IsValid());
  EXPECT_FALSE(host.AssignNumber(std::string("127.0.0.1\0", 10)) || host.AssignHost("no-such-host.invalid"));
  host = HostAddress(mapped);
  EXPECT_TRUE(host.ToText() == "::ffff:127.0.0.1" && host.ResolveName() && host.Name() == "localhost");
  EXPECT_TRUE(host.AssignNumber("192.0.2.77") && !host.ResolveName() && host.Name() == "192.0.2.77");

  ASSERT_TRUE(host.AssignLocalHost() && !host.IsValid());
  const auto known = support::runCommand("getent ahosts \"$(uname -n)\" | cut -d' ' -f1").output;
  EXPECT_EQ(host.ResolveAddress(), !known.empty());
  EXPECT_NE(known.find(host.ToText()), std::string::npos) << known;
}
