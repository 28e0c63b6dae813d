#include "phoned/cli/options.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <vector>

#include "attempt.h"
#include "phonectl/options.h"

namespace {

using phoned::Network;
using support::Attempt;
using Words = std::vector<const char*>;
using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(PhonedOptions, HaveDefaults) {
  const Attempt options([] { return phoned::parse_options({}); });
  ASSERT_TRUE(options);
  EXPECT_EQ(options->action, phoned::Options::Action::kServe);
  EXPECT_EQ(options->port, 7070);
  EXPECT_EQ(options->map, std::nullopt);
  EXPECT_EQ(options->map_file, std::nullopt);
  EXPECT_EQ(options->interdigit, milliseconds(4000));
  EXPECT_EQ(options->statistics, seconds(60));
  EXPECT_EQ(options->allowed, Network::parse("127.0.0.0/8"));
}

TEST(PhonedOptions, TakeValuesBehindABlankAndAnEqualsSign) {
  for (const Words& words :
       {Words{"--foreground", "--port", "65535", "--map", "110", "--interdigit", "10", "--statistics", "86400"},
        Words{"--foreground", "--port=65535", "--map=110", "--interdigit=10", "--statistics=86400"}}) {
    const Attempt options([&] { return phoned::parse_options(words); });
    ASSERT_TRUE(options) << options.why();
    EXPECT_EQ(options->port, 65535);
    EXPECT_EQ(options->map, "110");
    EXPECT_EQ(options->interdigit, milliseconds(10));
    EXPECT_EQ(options->statistics, seconds(86400));
  }
}

TEST(PhonedOptions, TakeWhatLooksOddAsAValue) {
  const Words words = {"--map", "--map-file", "--port=0", "--map=="};
  const Attempt options([&] { return phoned::parse_options(words); });
  ASSERT_TRUE(options);
  EXPECT_EQ(options->map, "=");
  EXPECT_EQ(options->port, 0);
}

TEST(PhonedOptions, SayWhereOperatorsAre) {
  const Attempt none([] { return phoned::parse_options({}); });
  ASSERT_TRUE(none);
  EXPECT_EQ(none->ini, std::nullopt);
  EXPECT_EQ(none->operators, phoned::Operators::Channels());
  EXPECT_EQ(none->operators.patience, seconds(30));
  const Words words = {
      "--foreground",          "--ini", "a", "--console", "b", "--fifo", "c", "--fifo-out=d", "--stdin",
      "--console-timeout=3600"};
  const Attempt all([&] { return phoned::parse_options(words); });
  ASSERT_TRUE(all) << all.why();
  EXPECT_EQ(all->ini, "a");
  const phoned::Operators::Channels expected = {"b", "c", "d", true, seconds(3600)};
  EXPECT_EQ(all->operators, expected);
}

TEST(PhonedOptions, SayWhoIsAnswered) {
  const struct {
    const char* text;
    Network network;
  } kCases[] = {
      {"192.168.1.0/24", {0xC0A80100, 0xFFFFFF00}},
      {"10.1.2.3", {0x0A010203, 0xFFFFFFFF}},
      {"0.0.0.0/0", {0, 0}},
      {"10.1.2.3/32", {0x0A010203, 0xFFFFFFFF}},
  };
  for (const auto& row : kCases) {
    EXPECT_EQ(Network::parse(row.text), row.network) << row.text;
  }
  for (const char* text : {"", "/8", "10.0.0.0/", "10.0.0.0/33", "10.0.0.0/-1", "10.0.0/8", "localhost", "::1/128"}) {
    EXPECT_EQ(Network::parse(text), std::nullopt) << text;
  }
}

TEST(PhonedOptions, KnowWhoIsInANetwork) {
  const auto at = [](const char* address) {
    sockaddr_in peer = {};
    inet_pton(AF_INET, address, &peer.sin_addr);
    return peer;
  };
  const Network loopback;
  EXPECT_TRUE(loopback.contains(at("127.0.0.1")));
  EXPECT_TRUE(loopback.contains(at("127.255.0.9")));
  EXPECT_FALSE(loopback.contains(at("128.0.0.1")));
  EXPECT_FALSE(Network::parse("10.1.2.3")->contains(at("10.1.2.4")));
  EXPECT_TRUE(Network::parse("10.9.9.9/8")->contains(at("10.1.2.4")));
  EXPECT_TRUE(Network::parse("0.0.0.0/0")->contains(at("203.0.113.7")));
}

TEST(PhonedOptions, LastOneCounts) {
  const Words words = {"--port", "1", "--port", "2", "--map-file", "a", "--map-file=b"};
  const Attempt options([&] { return phoned::parse_options(words); });
  ASSERT_TRUE(options);
  EXPECT_EQ(options->port, 2);
  EXPECT_EQ(options->map_file, "b");
}

TEST(PhonedOptions, HelpAndVersion) {
  EXPECT_EQ(phoned::parse_options(Words{"--help"}).action, phoned::Options::Action::kShowHelp);
  EXPECT_EQ(phoned::parse_options(Words{"--version"}).action, phoned::Options::Action::kShowVersion);
  const std::string help = phoned::help_text();
  EXPECT_EQ(help.find('%'), std::string::npos);
  for (const char* words : {"\n  --foreground ", "\n  --port N            UDP port, 0 to 65535 (7070)",
                            "\n  --map-file FILE ", "\n  --map TEXT          the dial plan (110 | 112 | 1[2-9]x",
                            "\n  --interdigit MS ", "\n  --statistics S ", "\n  --help, --version "}) {
    EXPECT_NE(help.find(words), std::string::npos) << words;
  }
}

TEST(PhonedOptions, SayWhatIsWrong) {
  const struct {
    Words words;
    const char* why;
  } kCases[] = {
      {{"--allow", "10.0.0.0/33"}, "--allow '10.0.0.0/33': must be an IPv4 network, such as 192.168.1.0/24"},
      {{"--port", "65536"}, "--port '65536': must be a number from 0 to 65535"},
      {{"--port", "-1"}, "--port '-1': must be a number from 0 to 65535"},
      {{"--port", "80x"}, "--port '80x': must be a number from 0 to 65535"},
      {{"--port="}, "--port '': must be a number from 0 to 65535"},
      {{"--port"}, "--port needs a value: a number from 0 to 65535"},
      {{"--interdigit", "9"}, "--interdigit '9': must be a number from 10 to 60000"},
      {{"--interdigit=60001"}, "--interdigit '60001': must be a number from 10 to 60000"},
      {{"--statistics", "0"}, "--statistics '0': must be a number from 1 to 86400"},
      {{"--statistics", "86401"}, "--statistics '86401': must be a number from 1 to 86400"},
      {{"--map"}, "--map needs a value: a dial plan, such as '110|0x.T'"},
      {{"--map-file"}, "--map-file needs a value: the name of a file with a dial plan"},
      {{"--map", "110", "--map-file", "plan"},
       "--map '110' and --map-file 'plan' exclude each other: name one dial plan"},
      {{"--foreground=yes"}, "--foreground 'yes': this option takes no value"},
      {{"--prot", "1"}, "unknown option '--prot': see --help"},
      {{"-p"}, "unknown option '-p': see --help"},
      {{"--foreground", "now"}, "unexpected word 'now': phoned takes options only, see --help"},
      {{""}, "unexpected word '': phoned takes options only, see --help"},
      // Reports the first mistake.
      {{"--port", "x", "--prot"}, "--port 'x': must be a number from 0 to 65535"},
      {{"--help", "--prot"}, "unknown option '--prot': see --help"},
      {{"--\x1b[2J"}, "unknown option '--?[2J': see --help"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.why);
    const Attempt options([&] { return phoned::parse_options(row.words); });
    ASSERT_FALSE(options);
    EXPECT_EQ(options.why(), row.why);
  }
}

TEST(PhonectlOptions, HaveDefaults) {
  const Attempt options([] { return phonectl::parse_options(Words{"offhook", "3"}); });
  ASSERT_TRUE(options);
  EXPECT_EQ(options->action, phonectl::Options::Action::kCommand);
  EXPECT_EQ(options->host, "127.0.0.1");
  EXPECT_EQ(options->port, 7070);
  EXPECT_EQ(options->timeout, milliseconds(2000));
  EXPECT_EQ(options->command.text, "3 offhook");
}

TEST(PhonectlOptions, TakeValues) {
  const Attempt options([] {
    return phonectl::parse_options(Words{"--host", "192.0.2.1", "--port", "1", "--timeout=60000", "--script", "-"});
  });
  ASSERT_TRUE(options) << options.why();
  EXPECT_EQ(options->action, phonectl::Options::Action::kScript);
  EXPECT_EQ(options->host, "192.0.2.1");
  EXPECT_EQ(options->port, 1);
  EXPECT_EQ(options->timeout, milliseconds(60000));
  EXPECT_EQ(options->script, "-");
}

TEST(PhonectlOptions, EveryWordBehindTheCommandBelongsToIt) {
  EXPECT_EQ(phonectl::parse_options(Words{"raw", "--port", "x"}).command.text, "--port x");
}

TEST(PhonectlOptions, HelpAndVersion) {
  EXPECT_EQ(phonectl::parse_options(Words{"--help"}).action, phonectl::Options::Action::kShowHelp);
  EXPECT_EQ(phonectl::parse_options(Words{"--version", "dance"}).action, phonectl::Options::Action::kShowVersion);
  const std::string help = phonectl::help_text();
  for (const char* words : {"\n  --port N            phoned's UDP port, 1 to 65535 (7070)", "\n  --host ADDRESS ",
                            "\n  --timeout MS ", "\n  --help, --version ", " --script FILE "}) {
    EXPECT_NE(help.find(words), std::string::npos) << words;
  }
}

TEST(PhonectlOptions, SayWhatIsWrong) {
  const struct {
    Words words;
    const char* why;
  } kCases[] = {
      {{}, "no command: must be offhook, onhook, digit, dial, raw or console, or a --script; --help shows more"},
      {{"--port", "0", "offhook", "3"}, "--port '0': must be a number from 1 to 65535"},
      {{"--timeout", "0"}, "--timeout '0': must be a number from 1 to 60000"},
      {{"--timeout", "60001"}, "--timeout '60001': must be a number from 1 to 60000"},
      {{"--host", "local"}, "--host 'local': must be an IPv4 address, such as 127.0.0.1, or localhost"},
      {{"--host", "1.2.3.4.5"}, "--host '1.2.3.4.5': must be an IPv4 address, such as 127.0.0.1, or localhost"},
      {{"--host"}, "--host needs a value: an IPv4 address, such as 127.0.0.1, or localhost"},
      {{"--quick"}, "unknown option '--quick': see --help"},
      {{"--script", "x", "offhook", "3"}, "unexpected word 'offhook': commands stand in the script"},
      {{"offhook"}, "'offhook' needs a line, such as 'offhook 3'"},
      {{"wait", "3"}, "'wait' is for scripts: must be offhook, onhook, digit, dial or raw"},
      {{"expect", "3 idle"}, "'expect' is for scripts: must be offhook, onhook, digit, dial or raw"},
      {{"dance", "3"}, "unknown command 'dance': must be offhook, onhook, digit, dial, raw, expect or wait"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.why);
    const Attempt options([&] { return phonectl::parse_options(row.words); });
    ASSERT_FALSE(options);
    EXPECT_EQ(options.why(), row.why);
  }
}

}  // namespace
