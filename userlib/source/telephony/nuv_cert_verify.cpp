#include "nuv_cert_verify.h"

#include <array>
#include <span>

#include <string.h>

// ASN1_STRING_data() is the one name for its purpose that every OpenSSL on the devices has.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/objects.h>
#include <openssl/x509.h>

#include "core/contract.h"
#include "core/malloc_ptr.h"
#include "core/text.h"

namespace {

constexpr char kFamily[] = "nuv_cert_verify";

constexpr int32_t kMatch = 0;
constexpr int32_t kNoMatch = -1;
constexpr int32_t kEmpty = -2;
constexpr int32_t kSyntaxError = -3;

constexpr uint32_t kMaxItems = 6;
constexpr int32_t kNoNid = -1;

struct Attribute {
  const char* name;
  size_t length;
  int32_t nid;
};

// In the order of comparison: a name that begins like another one comes before it.
constexpr std::array<Attribute, 6> kAttributes = {{
    {"OU", 2, NID_organizationalUnitName},
    {"O", 1, NID_organizationName},
    {"CN", 2, NID_commonName},
    {"C", 1, NID_countryName},
    {"L", 1, NID_localityName},
    {"ST", 2, NID_stateOrProvinceName},
}};

const Attribute* find_attribute(const char* item) {
  for (const Attribute& attribute : kAttributes) {
    if (strncmp(item, attribute.name, attribute.length) == 0) {
      return &attribute;
    }
  }
  return nullptr;
}

// Where the item ends, at a separator outside quotes or with the text; null where a backslash is misplaced.
char* end_of_item(char* text, char separator) {
  bool is_quoted = false;
  for (; *text != '\0'; ++text) {
    if (*text == '"') {
      is_quoted = !is_quoted;
    } else if (is_quoted && *text == '\\') {
      ++text;
      if (*text != '\\' && *text != '"') {
        return nullptr;
      }
    } else if (!is_quoted && *text == separator) {
      return text;
    }
  }
  return text;
}

// Without an array for them, which only a returning error handler lets in, the items are ended and counted all the same.
int32_t split(char** items, uint32_t most, char* text, char separator) {
  for (uint32_t i = 0; i < most; ++i) {
    if (items != nullptr) {
      items[i] = text;
    }
    char* const end = end_of_item(text, separator);
    if (end == nullptr) {
      return kSyntaxError;
    }
    if (*end == '\0') {
      return static_cast<int32_t>(i + 1);
    }
    *end = '\0';
    text = end + 1;
    text += strspn(text, " ");
  }
  return kSyntaxError;  // one more item than there is room for
}

// Without a buffer, which only a returning error handler lets in, the value is read all the same.
void put(char*& value, char c) {
  if (value != nullptr) {
    *value++ = c;
  }
}

// Copies a value without its quotes. The copy is never longer than the text.
bool unquote(char* value, const char* text) {
  bool is_quoted = false;
  for (; *text != '\0'; ++text) {
    if (*text == '"') {
      is_quoted = !is_quoted;
      continue;
    }
    if (*text == '\\') {
      ++text;
      if (!is_quoted || *text == '\0') {
        return false;
      }
    }
    put(value, *text);
  }
  put(value, '\0');
  return true;
}

int32_t parse_item(int32_t& nid, char* value, const char* item) {
  nid = kNoNid;
  item += strspn(item, " ");
  if (*item == '\0') {
    return kEmpty;
  }
  const Attribute* const attribute = find_attribute(item);
  if (attribute == nullptr) {
    return kNoMatch;
  }
  nid = attribute->nid;
  item += attribute->length;
  if (*item != '=') {
    return kSyntaxError;
  }
  if (!unquote(value, item + 1)) {
    put(value, '\0');
    return kSyntaxError;
  }
  return kMatch;
}

// Compares the lengths first: the entry may hold a zero byte, at which a comparison of texts would stop.
bool has_value(X509_NAME* name, int32_t nid, const char* value) {
  const int index = X509_NAME_get_index_by_NID(name, nid, -1);
  if (index < 0) {
    return false;
  }
  ASN1_STRING* const entry = X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, index));
  const unsigned char* const bytes = entry != nullptr ? ASN1_STRING_data(entry) : nullptr;
  const size_t length = strlen(value);
  return bytes != nullptr && static_cast<size_t>(entry->length) == length && memcmp(bytes, value, length) == 0;
}

int32_t match_item(X509_NAME* name, const char* item) {
  const auto value = nuv::malloc_array<char>(strlen(item) + 1);
  if (value == nullptr) {
    return kNoMatch;
  }
  int32_t nid = kNoNid;
  const int32_t result = parse_item(nid, value.get(), item);
  if (result != kMatch) {
    return result;
  }
  return has_value(name, nid, value.get()) ? kMatch : kNoMatch;
}

int32_t match_name(X509_NAME* name, const char* needle) {
  const size_t size = strlen(needle) + 1;
  const auto copy = nuv::malloc_array<char>(size);
  if (copy == nullptr) {
    return kNoMatch;
  }
  memcpy(copy.get(), needle, size);
  std::array<char*, kMaxItems> items = {};
  const int32_t count = NUV_Cert_splitNeedle(items.data(), kMaxItems, copy.get(), ',');
  if (count < 0) {
    return count;
  }
  for (const char* const item : std::span(items).first(static_cast<size_t>(count))) {
    const int32_t result = match_item(name, item);
    if (result != kMatch) {
      return result;
    }
  }
  return kMatch;
}

int32_t match(const X509* cert, X509_NAME* (*get_name)(const X509*), const char* needle) {
  needle = nuv::text_or_empty(needle);
  if (strcmp(needle, "*") == 0) {
    return kMatch;
  }
  X509_NAME* const name = cert != nullptr ? get_name(cert) : nullptr;
  return name != nullptr ? match_name(name, needle) : kNoMatch;
}

}  // namespace

int32_t NUV_Cert_splitNeedle(char** a_dest, uint32_t a_maxdest, char* a_src, char a_separator) {
  NUV_REQUIRE(((void *)0) != a_dest);
  NUV_REQUIRE(((void *)0) != a_src);
  if (a_src == nullptr || *a_src == '\0') {
    return kEmpty;
  }
  return split(a_dest, a_maxdest, a_src, a_separator);
}

int32_t NUV_Cert_splitAttribute(int32_t* a_nid, char* a_AttrValue, const char* a_Attr) {
  NUV_REQUIRE(((void *)0) != a_AttrValue);
  NUV_REQUIRE(((void *)0) != a_Attr);
  int32_t nid = kNoNid;
  const int32_t result = parse_item(nid, a_AttrValue, nuv::text_or_empty(a_Attr));
  if (a_nid != nullptr) {
    *a_nid = nid;
  }
  return result;
}

int32_t NUV_CertVerify_Subject(const struct x509_st* a_cert, const char* a_needle) {
  return match(a_cert, X509_get_subject_name, a_needle);
}

int32_t NUV_CertVerify_Issuer(const struct x509_st* a_cert, const char* a_needle) {
  return match(a_cert, X509_get_issuer_name, a_needle);
}
