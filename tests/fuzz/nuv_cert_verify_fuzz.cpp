// Needles and certificates, compared with a simple model. Lines of an input that begin with "S:" or "I:", such as
// "S:CN=host", add an entry to the certificate's subject or issuer; all others are needles.
#include <openssl/objects.h>
#include <openssl/x509.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "nuv_cert_verify.h"

namespace {

using fuzz::ExactText;

constexpr int32_t kMatch = 0;
constexpr int32_t kNoMatch = -1;
constexpr int32_t kEmpty = -2;
constexpr int32_t kSyntaxError = -3;

struct FreeCertificate {
  void operator()(X509* certificate) const { X509_free(certificate); }
};

// ---- the model ----

using Name = std::vector<std::pair<int, std::string>>;  // attribute and value, in certificate order

struct Items {
  int32_t result;
  std::vector<std::string> texts;
};

Items model_split(std::string_view text, size_t most, char separator) {
  Items items = {kEmpty, {}};
  if (text.empty()) {
    return items;
  }
  items.result = kSyntaxError;
  std::string item;
  bool quoted = false;
  for (size_t i = 0; items.texts.size() < most; ++i) {
    if (i == text.size()) {
      items.texts.push_back(item);
      items.result = static_cast<int32_t>(items.texts.size());
      return items;
    }
    if (text[i] == '"') {
      quoted = !quoted;
    } else if (quoted && text[i] == '\\') {
      if (i + 1 == text.size() || (text[i + 1] != '"' && text[i + 1] != '\\')) {
        return items;
      }
      item += text[i++];
    } else if (!quoted && text[i] == separator) {
      items.texts.push_back(std::exchange(item, {}));
      while (i + 1 < text.size() && text[i + 1] == ' ') {
        ++i;
      }
      continue;
    }
    item += text[i];
  }
  return items;
}

struct Item {
  int32_t result;
  int nid = -1;
  std::optional<std::string> value;  // the stored value, if any
};

Item model_item(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  if (text.empty()) {
    return {kEmpty, -1, {}};
  }
  constexpr std::pair<std::string_view, int> kNames[] = {{"OU", NID_organizationalUnitName},
                                                         {"O", NID_organizationName},
                                                         {"CN", NID_commonName},
                                                         {"C", NID_countryName},
                                                         {"L", NID_localityName},
                                                         {"ST", NID_stateOrProvinceName}};
  const auto* const name = std::find_if(std::begin(kNames), std::end(kNames),
                                        [text](const auto& candidate) { return text.starts_with(candidate.first); });
  if (name == std::end(kNames)) {
    return {kNoMatch, -1, {}};
  }
  text.remove_prefix(name->first.size());
  if (!text.starts_with('=')) {
    return {kSyntaxError, name->second, {}};
  }
  std::string value;
  bool quoted = false;
  for (size_t i = 1; i < text.size(); ++i) {
    if (text[i] == '"') {
      quoted = !quoted;
    } else if (text[i] != '\\') {
      value += text[i];
    } else if (!quoted || i + 1 == text.size()) {
      return {kSyntaxError, name->second, ""};
    } else {
      value += text[++i];
    }
  }
  return {kMatch, name->second, value};
}

int32_t model_match(const Name& name, std::string_view needle) {
  if (needle == "*") {
    return kMatch;
  }
  const Items items = model_split(needle, 6, ',');
  if (items.result < 0) {
    return items.result;
  }
  for (const std::string& text : items.texts) {
    const Item item = model_item(text);
    if (item.result != kMatch) {
      return item.result;
    }
    const auto entry =
        std::find_if(name.begin(), name.end(), [&item](const auto& candidate) { return candidate.first == item.nid; });
    if (entry == name.end() || entry->second != *item.value) {
      return kNoMatch;
    }
  }
  return kMatch;
}

// ---- the comparison ----

void check_split(std::string_view needle, uint32_t most, char separator) {
  ExactText text(needle);
  std::vector<char*> items(most + 1);
  const Items expected = model_split(needle, most, separator);
  FUZZ_CHECK(NUV_Cert_splitNeedle(items.data(), most, text.get(), separator) == expected.result);
  FUZZ_CHECK(items[most] == nullptr);
  for (size_t i = 0; expected.result > 0 && i < expected.texts.size(); ++i) {
    FUZZ_CHECK(items[i] >= text.get() && items[i] <= text.get() + needle.size());
    FUZZ_CHECK(expected.texts[i] == items[i]);
  }
}

void check_item(std::string_view line) {
  const ExactText text(line);
  ExactText value(std::string(line.size(), '~'));
  const Item expected = model_item(line);
  int32_t nid = 7;
  FUZZ_CHECK(NUV_Cert_splitAttribute(&nid, value.get(), text.get()) == expected.result);
  FUZZ_CHECK(nid == expected.nid);
  FUZZ_CHECK(!expected.value || *expected.value == value.get());
}

void add_entry(X509_NAME* name, Name& model, std::string_view line) {
  const size_t equals = std::min(line.find('='), line.size());
  const std::string attribute(line.substr(0, equals));
  const std::string_view value = line.substr(std::min(equals + 1, line.size()));
  const int nid = OBJ_txt2nid(attribute.c_str());
  // Adds the bytes without checking their encoding. OpenSSL refuses values that are too long.
  const int added =
      X509_NAME_add_entry_by_NID(name, nid, V_ASN1_UTF8STRING, reinterpret_cast<const uint8_t*>(value.data()),
                                 static_cast<int>(value.size()), -1, 0);
  if (added == 1) {
    model.emplace_back(nid, value);
  }
}

void check_needle(const X509* certificate, const Name& subject, const Name& issuer, std::string_view needle) {
  const ExactText text(needle);
  FUZZ_CHECK(NUV_CertVerify_Subject(certificate, text.get()) == model_match(subject, needle));
  FUZZ_CHECK(NUV_CertVerify_Issuer(certificate, text.get()) == model_match(issuer, needle));
  FUZZ_CHECK(NUV_CertVerify_Subject(nullptr, text.get()) == (needle == "*" ? kMatch : kNoMatch));
  for (const uint32_t most : {0U, 1U, 2U, 6U}) {
    check_split(needle, most, ',');
    check_split(needle, most, needle.empty() ? ' ' : needle.back());
  }
  check_item(needle);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::FuzzInput input(data, size);
  const std::unique_ptr<X509, FreeCertificate> certificate(X509_new());
  FUZZ_CHECK(certificate != nullptr);
  Name subject;
  Name issuer;
  while (!input.empty()) {
    const std::string_view line = input.line();
    if (line.starts_with("S:")) {
      add_entry(X509_get_subject_name(certificate.get()), subject, line.substr(2));
    } else if (line.starts_with("I:")) {
      add_entry(X509_get_issuer_name(certificate.get()), issuer, line.substr(2));
    } else {
      check_needle(certificate.get(), subject, issuer, fuzz::c_text(line));
    }
  }
  return 0;
}
