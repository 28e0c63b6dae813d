#include "nuv_cert_verify.h"

#include <gtest/gtest.h>
#include <openssl/objects.h>
#include <openssl/x509.h>

#include <cerrno>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "doubles/contract_recorder.h"
#include "doubles/fault_loop.h"

namespace {

using namespace std::string_literals;
using support::ContractRecorder;

constexpr char kGuard = '\x55';

// One entry of a name. The value may contain zero bytes.
struct Entry {
  int nid;
  std::string value;
  int type = V_ASN1_UTF8STRING;
  int set = 0;  // -1: in one set with the previous entry
};

struct FreeCertificate {
  void operator()(X509* certificate) const { X509_free(certificate); }
};
using Certificate = std::unique_ptr<X509, FreeCertificate>;

void add(X509_NAME* name, const std::vector<Entry>& entries) {
  for (const Entry& entry : entries) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(entry.value.data());
    ASSERT_EQ(X509_NAME_add_entry_by_NID(name, entry.nid, entry.type, bytes, static_cast<int>(entry.value.size()), -1,
                                         entry.set),
              1)
        << entry.nid;
  }
}

Certificate certificate(const std::vector<Entry>& subject, const std::vector<Entry>& issuer = {}) {
  Certificate made(X509_new());
  add(X509_get_subject_name(made.get()), subject);
  add(X509_get_issuer_name(made.get()), issuer);
  return made;
}

const std::vector<Entry>& whole_name() {
  static const std::vector<Entry> name = {
      {NID_countryName, "DE"},
      {NID_stateOrProvinceName, "Hessen"},
      {NID_localityName, "Bad Vilbel"},
      {NID_organizationName, "Foo, Bar"},
      {NID_organizationalUnitName, "Devices"},
      {NID_commonName, "host"},
  };
  return name;
}

int32_t match_subject(const std::vector<Entry>& subject, const std::string& needle) {
  return NUV_CertVerify_Subject(certificate(subject).get(), needle.c_str());
}

class CertVerifyTest : public ::testing::Test {
 protected:
  ContractRecorder contracts_;
};

// A text that is split in place, between guard bytes.
class SplitText {
 public:
  explicit SplitText(const std::string& text) : bytes_(kGuard + text + '\0' + kGuard) {}

  char* data() { return bytes_.data() + 1; }
  bool is_guarded() const { return bytes_.front() == kGuard && bytes_.back() == kGuard; }

 private:
  std::string bytes_;
};

TEST_F(CertVerifyTest, SplitsANeedleAtItsSeparators) {
  const struct {
    const char* name;
    const char* needle;
    std::vector<std::string> items;
  } kCases[] = {
      {"one item", "CN=host", {"CN=host"}},
      {"two items", "CN=host,C=DE", {"CN=host", "C=DE"}},
      {"blanks behind the separator", "CN=host,   C=DE", {"CN=host", "C=DE"}},
      {"blanks elsewhere stay", "  CN = host , C=DE ", {"  CN = host ", "C=DE "}},
      {"a tab is no blank", "a,\tb", {"a", "\tb"}},
      {"a separator at the end", "CN=a,", {"CN=a", ""}},
      {"blanks at the end", "CN=a,  ", {"CN=a", ""}},
      {"a separator alone", ",", {"", ""}},
      {"empty items", ",,a", {"", "", "a"}},
      {"a quoted separator", "O=\"Foo, Bar\",C=DE", {"O=\"Foo, Bar\"", "C=DE"}},
      {"quotes in the middle", "O=F\"o,o\"B,C=DE", {"O=F\"o,o\"B", "C=DE"}},
      {"an empty pair of quotes", "O=\"\",C=DE", {"O=\"\"", "C=DE"}},
      {"an unclosed quote", "O=\"Foo, Bar,C=DE", {"O=\"Foo, Bar,C=DE"}},
      {"an escaped quote", "O=\"a\\\",b\",C=DE", {"O=\"a\\\",b\"", "C=DE"}},
      {"an escaped backslash", "O=\"a\\\\\",C=DE", {"O=\"a\\\\\"", "C=DE"}},
      {"an escaped backslash, then an escaped quote", "O=\"a\\\\\\\",b\",c", {"O=\"a\\\\\\\",b\"", "c"}},
      {"a backslash outside quotes", "CN=a\\b,C=\\,d", {"CN=a\\b", "C=\\", "d"}},
      {"six items", "1,2,3,4,5,6", {"1", "2", "3", "4", "5", "6"}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    SplitText text(row.needle);
    std::vector<char*> items(7);
    const int32_t count = NUV_Cert_splitNeedle(items.data(), 6, text.data(), ',');
    ASSERT_EQ(count, static_cast<int32_t>(row.items.size()));
    EXPECT_EQ(std::vector<std::string>(items.begin(), items.begin() + count), row.items);
    EXPECT_EQ(items[6], nullptr);
    EXPECT_TRUE(text.is_guarded());
  }
}

TEST_F(CertVerifyTest, RefusesToSplitAnInvalidNeedle) {
  const struct {
    const char* name;
    const char* needle;
    uint32_t room;
    int32_t result;
  } kCases[] = {
      {"an empty text", "", 6, -2},
      {"an empty text and no room", "", 0, -2},
      {"no room", "a", 0, -3},
      {"one item too many", "1,2,3,4,5,6,7", 6, -3},
      {"a separator behind the last item that fits", "a,", 1, -3},
      {"an escaped letter in quotes", "O=\"a\\b\"", 6, -3},
      {"an escaped separator in quotes", "O=\"a\\,b\"", 6, -3},
      {"a backslash at the end, in quotes", "O=\"a\\", 6, -3},
      {"a slip in the second item", "CN=a,O=\"\\x\"", 6, -3},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    SplitText text(row.needle);
    std::vector<char*> items(7);
    EXPECT_EQ(NUV_Cert_splitNeedle(items.data(), row.room, text.data(), ','), row.result);
    EXPECT_EQ(items[row.room], nullptr);
    EXPECT_TRUE(text.is_guarded());
  }
}

TEST_F(CertVerifyTest, SplitsAtAnySeparator) {
  const struct {
    char separator;
    const char* text;
    std::vector<std::string> items;
  } kCases[] = {
      {';', "a;  b,c", {"a", "b,c"}},
      {' ', "a   b", {"a", "b"}},
      {'/', "\"a/b\"/c", {"\"a/b\"", "c"}},
      // A quote is never a separator; without a closing quote, the item ends with the text.
      {'"', "a\"b\"c", {"a\"b\"c"}},
      {'\\', "a\\b", {"a", "b"}},
      {'\0', "a,b", {"a,b"}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.text);
    SplitText text(row.text);
    std::vector<char*> items(3);
    const int32_t count = NUV_Cert_splitNeedle(items.data(), 3, text.data(), row.separator);
    ASSERT_EQ(count, static_cast<int32_t>(row.items.size()));
    EXPECT_EQ(std::vector<std::string>(items.begin(), items.begin() + count), row.items);
  }
}

TEST_F(CertVerifyTest, SplitsAnItem) {
  const struct {
    const char* name;
    const char* item;
    int32_t nid;
    const char* value;
  } kCases[] = {
      {"common name", "CN=host", 13, "host"},
      {"country", "C=DE", 14, "DE"},
      {"locality", "L=Bad Vilbel", 15, "Bad Vilbel"},
      {"state", "ST=Hessen", 16, "Hessen"},
      {"organisation", "O=Foo", 17, "Foo"},
      {"organisational unit", "OU=Devices", 18, "Devices"},
      {"blanks in front", "   CN=host", 13, "host"},
      {"blanks round the value stay", "CN= host ", 13, " host "},
      {"no value", "O=", 17, ""},
      {"a quoted value", "O=\"Foo, Bar\"", 17, "Foo, Bar"},
      {"nothing between quotes", "O=\"\"", 17, ""},
      {"quotes in the middle", "O=a\"b\"c\"d\"", 17, "abcd"},
      {"an unclosed quote", "O=\"Foo", 17, "Foo"},
      {"escapes", "O=\"a\\\"b\\\\c\"", 17, "a\"b\\c"},
      {"an escaped letter", "O=\"a\\b\"", 17, "ab"},
      {"signs of other attributes", "CN=O=x,=", 13, "O=x,="},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    std::string value(std::string_view(row.item).size() + 1, kGuard);  // as long as the item, and a guard byte
    int32_t nid = 0;
    EXPECT_EQ(NUV_Cert_splitAttribute(&nid, value.data(), row.item), 0);
    EXPECT_EQ(nid, row.nid);
    EXPECT_STREQ(value.c_str(), row.value);
    EXPECT_EQ(value.back(), kGuard);
  }
}

TEST_F(CertVerifyTest, RefusesInvalidItems) {
  const struct {
    const char* name;
    const char* item;
    int32_t result;
    int32_t nid;
    const char* value;  // null: unchanged
  } kCases[] = {
      {"nothing", "", -2, -1, nullptr},
      {"blanks", "   ", -2, -1, nullptr},
      {"an unknown attribute", "E=x", -1, -1, nullptr},
      {"a lower-case name", "cn=host", -1, -1, nullptr},
      {"half a name", "S=Hessen", -1, -1, nullptr},
      {"no name", "=x", -1, -1, nullptr},
      {"a quoted name", "\"CN\"=x", -1, -1, nullptr},
      {"a name that begins like one", "Org=x", -3, 17, nullptr},
      {"a longer name", "OUX=x", -3, 18, nullptr},
      {"a longer common name", "CNAME=x", -3, 13, nullptr},
      {"a name that begins with a C", "City=x", -3, 14, nullptr},
      {"a locality's", "Loc=x", -3, 15, nullptr},
      {"a state's", "STATE=x", -3, 16, nullptr},
      {"a blank before the equals sign", "CN =x", -3, 13, nullptr},
      {"nothing but a name", "CN", -3, 13, nullptr},
      {"a backslash outside quotes", "CN=a\\b", -3, 13, ""},
      {"a backslash behind quotes", "CN=\"a\"\\\"", -3, 13, ""},
      {"a backslash outside quotes at the end", "CN=a\\", -3, 13, ""},
      {"a backslash at the end, in quotes", "CN=\"a\\", -3, 13, ""},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    std::string value(std::string_view(row.item).size() + 1, kGuard);
    int32_t nid = 0;
    EXPECT_EQ(NUV_Cert_splitAttribute(&nid, value.data(), row.item), row.result);
    EXPECT_EQ(nid, row.nid);
    EXPECT_EQ(value.back(), kGuard);
    if (row.value != nullptr) {
      EXPECT_STREQ(value.c_str(), row.value);
    } else {
      EXPECT_EQ(value, std::string(value.size(), kGuard));
    }
  }
}

TEST_F(CertVerifyTest, MatchesEveryItemOfTheNeedle) {
  const struct {
    const char* name;
    const char* needle;
    int32_t result;
  } kCases[] = {
      {"one value", "CN=host", 0},
      {"each attribute", "C=DE, ST=Hessen, L=Bad Vilbel, O=\"Foo, Bar\", OU=Devices, CN=host", 0},
      {"in another order", "CN=host,C=DE", 0},
      {"the same twice", "C=DE,C=DE", 0},
      {"another value", "CN=guest", -1},
      {"another last value", "C=DE,CN=guest", -1},
      {"another first value", "CN=guest,C=DE", -1},
      {"other letters", "CN=Host", -1},
      {"the front of the value", "CN=hos", -1},
      {"the value and more", "CN=hosts", -1},
      {"the rest of the value", "CN=ost", -1},
      {"no value", "CN=", -1},
      {"a value without its quotes", "O=Foo, Bar", -1},  // "Bar" is not an attribute
      {"an extra space", "CN= host", -1},
      {"an unknown attribute", "E=x", -1},
      {"seven items", "C=DE,C=DE,C=DE,C=DE,C=DE,C=DE,C=DE", -3},
      {"seven items, the seventh empty", "C=DE,C=DE,C=DE,C=DE,C=DE,C=DE,", -3},
      {"a name that begins like one", "Org=x", -3},
      {"a backslash outside quotes", "CN=a\\b", -3},
      {"a backslash in quotes before a letter", "CN=\"ho\\st\"", -3},
      {"nothing", "", -2},
      {"blanks", "  ", -2},
      {"an empty last item", "CN=host,", -2},
      {"an empty first item", ",CN=host", -2},
      {"what does not match before what is empty", "CN=guest,", -1},
      {"what does not match before what is malformed", "CN=guest,Org=x", -1},
      {"what cannot be split before what does not match", "CN=guest,O=\"\\x\"", -3},
      {"a star", "*", 0},
      {"a star and more", "*,CN=host", -1},
      {"two stars", "**", -1},
      {"a blank and a star", " *", -1},
      {"a star for a value", "CN=*", -1},
  };
  const Certificate subject = certificate(whole_name());
  const Certificate issuer = certificate({}, whole_name());
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(NUV_CertVerify_Subject(subject.get(), row.needle), row.result);
    EXPECT_EQ(NUV_CertVerify_Issuer(issuer.get(), row.needle), row.result);
  }
}

TEST_F(CertVerifyTest, KeepsSubjectAndIssuerApart) {
  const Certificate both = certificate({{NID_commonName, "device"}}, {{NID_commonName, "authority"}});
  EXPECT_EQ(NUV_CertVerify_Subject(both.get(), "CN=device"), 0);
  EXPECT_EQ(NUV_CertVerify_Subject(both.get(), "CN=authority"), -1);
  EXPECT_EQ(NUV_CertVerify_Issuer(both.get(), "CN=authority"), 0);
  EXPECT_EQ(NUV_CertVerify_Issuer(both.get(), "CN=device"), -1);
}

TEST_F(CertVerifyTest, MatchesQuotesAndBackslashesInAValue) {
  const struct {
    const char* value;
    const char* needle;
  } kCases[] = {
      {"say \"hello\"", "O=\"say \\\"hello\\\"\""},
      {"C:\\etc\\", "O=\"C:\\\\etc\\\\\""},
      {"\"", "O=\"\\\"\""},
      {"a,b=c", "O=\"a,b=c\""},
      {" blank ", "O=\" blank \""},
      {"*", "O=*"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.value);
    EXPECT_EQ(match_subject({{NID_organizationName, row.value}}, row.needle), 0);
    EXPECT_EQ(match_subject({{NID_organizationName, row.value + "x"s}}, row.needle), -1);
  }
}

// The owner of evil.example can get a certificate for "bank.example\0.evil.example". It must not match "bank.example".
TEST_F(CertVerifyTest, ValueWithAZeroByteNeverMatches) {
  const std::vector<std::string> kValues = {"host\0"s, "host\0.evil.example"s, "\0host"s, "\0"s, "ho\0st"s};
  for (const auto& value : kValues) {
    SCOPED_TRACE(value);
    EXPECT_EQ(match_subject({{NID_commonName, value}}, "CN=host"), -1);
    EXPECT_EQ(match_subject({{NID_commonName, value}}, "CN=ho"), -1);
    EXPECT_EQ(match_subject({{NID_commonName, value}}, "CN="), -1);
  }
}

TEST_F(CertVerifyTest, UsesOnlyTheFirstEntryOfAnAttribute) {
  const std::vector<Entry> one_after_the_other = {
      {NID_organizationalUnitName, "first"}, {NID_commonName, "host"}, {NID_organizationalUnitName, "second"}};
  const std::vector<Entry> one_set = {{NID_organizationalUnitName, "first"},
                                      {NID_organizationalUnitName, "second", V_ASN1_UTF8STRING, -1},
                                      {NID_commonName, "host", V_ASN1_UTF8STRING, -1}};
  for (const auto& name : {one_after_the_other, one_set}) {
    EXPECT_EQ(match_subject(name, "OU=first"), 0);
    EXPECT_EQ(match_subject(name, "OU=second"), -1);
    EXPECT_EQ(match_subject(name, "OU=first,OU=second"), -1);
    EXPECT_EQ(match_subject(name, "CN=host,OU=first"), 0);
  }
}

// The bytes are compared as the certificate encodes them, without a conversion of the string type.
TEST_F(CertVerifyTest, ComparesTheBytesOfEveryTypeOfString) {
  const struct {
    const char* name;
    int type;
    std::string value;
    const char* needle;
    int32_t result;
  } kCases[] = {
      {"printable", V_ASN1_PRINTABLESTRING, "host", "CN=host", 0},
      {"IA5", V_ASN1_IA5STRING, "host", "CN=host", 0},
      {"UTF-8", V_ASN1_UTF8STRING, "M\xC3\xBCnchen", "CN=M\xC3\xBCnchen", 0},
      {"UTF-8, the needle in Latin 1", V_ASN1_UTF8STRING, "M\xC3\xBCnchen", "CN=M\xFCnchen", -1},
      {"T61 in Latin 1", V_ASN1_T61STRING, "M\xFCnchen", "CN=M\xFCnchen", 0},
      {"two bytes a character", V_ASN1_BMPSTRING, "\0h\0o\0s\0t"s, "CN=host", -1},
      {"two bytes a character, no zeros", V_ASN1_BMPSTRING, "\x4E\x2D\x65\x87", "CN=\x4E\x2D\x65\x87", 0},
      {"four bytes a character", V_ASN1_UNIVERSALSTRING, "\0\0\0h"s, "CN=h", -1},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(match_subject({{NID_commonName, row.value, row.type}}, row.needle), row.result);
  }
}

TEST_F(CertVerifyTest, MissingAttributeDoesNotMatch) {
  EXPECT_EQ(match_subject({{NID_commonName, "host"}}, "O=host"), -1);
  EXPECT_EQ(match_subject({}, "CN=host"), -1);
  EXPECT_EQ(match_subject({}, "CN="), -1);
}

TEST_F(CertVerifyTest, EmptyValueMatchesAnEmptyOne) {
  Certificate made = certificate({{NID_commonName, "host"}});
  X509_NAME_ENTRY* entry = X509_NAME_get_entry(X509_get_subject_name(made.get()), 0);
  ASSERT_EQ(ASN1_STRING_set(X509_NAME_ENTRY_get_data(entry), "", 0), 1);
  EXPECT_EQ(NUV_CertVerify_Subject(made.get(), "CN="), 0);
  EXPECT_EQ(NUV_CertVerify_Subject(made.get(), "CN=\"\""), 0);
  EXPECT_EQ(NUV_CertVerify_Subject(made.get(), "CN=h"), -1);
}

TEST_F(CertVerifyTest, ValueWithoutBytesDoesNotMatch) {
  Certificate made = certificate({{NID_commonName, "host"}});
  X509_NAME_ENTRY* entry = X509_NAME_get_entry(X509_get_subject_name(made.get()), 0);
  ASN1_STRING_set0(X509_NAME_ENTRY_get_data(entry), nullptr, 0);
  EXPECT_EQ(NUV_CertVerify_Subject(made.get(), "CN="), -1);
}

TEST_F(CertVerifyTest, StarMatchesWithoutReadingTheCertificate) {
  EXPECT_EQ(match_subject({}, "*"), 0);
  EXPECT_EQ(NUV_CertVerify_Subject(nullptr, "*"), 0);
  EXPECT_EQ(NUV_CertVerify_Issuer(nullptr, "*"), 0);
}

TEST_F(CertVerifyTest, NullCertificateHasNoName) {
  for (const char* needle : {"CN=host", "", "Org=x"}) {
    EXPECT_EQ(NUV_CertVerify_Subject(nullptr, needle), -1);
    EXPECT_EQ(NUV_CertVerify_Issuer(nullptr, needle), -1);
  }
  EXPECT_EQ(NUV_CertVerify_Subject(nullptr, nullptr), -1);
  EXPECT_EQ(NUV_CertVerify_Subject(certificate(whole_name()).get(), nullptr), -2);
}

TEST_F(CertVerifyTest, LeavesTheNeedleUnchanged) {
  const std::string needle = "CN=host, O=\"Foo, Bar\",C=DE";
  const std::string before = needle;
  EXPECT_EQ(match_subject(whole_name(), needle), 0);
  EXPECT_EQ(needle, before);
}

// The three allocations are the needle's copy and the values of its two items.
TEST_F(CertVerifyTest, WithoutMemoryNothingMatches) {
  const Certificate host = certificate(whole_name());
  const char kNeedle[] = "CN=host,C=DE";
  const int calls = support::each_fault("malloc", {ENOMEM}, [&](support::Fault& fault) {
    const int32_t result = fault.during([&] { return NUV_CertVerify_Subject(host.get(), kNeedle); });
    EXPECT_EQ(result, fault.has_struck() ? -1 : 0);
    EXPECT_EQ(NUV_CertVerify_Subject(host.get(), kNeedle), 0);
  });
  EXPECT_EQ(calls, 3);
}

TEST_F(CertVerifyTest, HandlesHostileNeedles) {
  const Certificate host = certificate(whole_name());
  const std::string kNeedles[] = {
      std::string(1 << 20, ','),
      std::string(1 << 20, '"'),
      std::string(1 << 20, ' '),
      std::string(1 << 20, '\\'),
      "CN=" + std::string(1 << 20, 'x'),
      "CN=\"" + std::string(1 << 20, '\\') + "\"",
      "CN=\"" + std::string((1 << 20) + 1, '\\'),
      std::string(1 << 20, '='),
      "CN=\xFF\xFE\x80",
  };
  const int32_t kResults[] = {-3, -1, -2, -1, -1, -1, -3, -1, -1};
  for (size_t i = 0; i < std::size(kNeedles); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(NUV_CertVerify_Subject(host.get(), kNeedles[i].c_str()), kResults[i]);
  }
}

TEST_F(CertVerifyTest, SplitAttributeAcceptsNullForTheNid) {
  char value[16];
  EXPECT_EQ(NUV_Cert_splitAttribute(nullptr, value, "CN=a"), 0);
  EXPECT_STREQ(value, "a");
}

}  // namespace
