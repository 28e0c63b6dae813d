#include "phoned/io/certificate.h"

#ifdef PHONED_CERT

#include <memory>

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include "nuv_cert_verify.h"
#include "phoned/core/file.h"
#include "phoned/core/text.h"

namespace phoned {

namespace {

constexpr size_t kMaxFile = 65536;

struct Free {
  void operator()(BIO* bio) const { BIO_free(bio); }
  void operator()(X509* certificate) const { X509_free(certificate); }
};

// Nobody is asked for a pass phrase: a daemon has no keyboard.
int no_pass_phrase(char*, int, int, void*) {
  return -1;
}

std::unique_ptr<X509, Free> read_certificate(const std::string& pem) {
  const std::unique_ptr<BIO, Free> bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  if (!bio) {
    return nullptr;
  }
  std::unique_ptr<X509, Free> certificate(PEM_read_bio_X509(bio.get(), nullptr, no_pass_phrase, nullptr));
  ERR_clear_error();
  return certificate;
}

}  // namespace

Result<std::string> match_subject(const std::string& file, const std::string& needle) {
  const auto pem = read_file(file, kMaxFile);
  if (!pem) {
    return Error{"certificate " + quote_path(file) + " cannot be read: " + pem.error().why};
  }
  const auto certificate = read_certificate(*pem);
  if (!certificate) {
    return Error{quote_path(file) + " holds no certificate: must be a PEM file"};
  }
  switch (NUV_CertVerify_Subject(certificate.get(), needle.c_str())) {
    case 0:
      return std::string("the subject matches");
    case -1:
      return std::string("the subject does not match");
    case -2:
      return Error{"needle " + quote(needle) +
                   " is empty, or an item of it: must be such as 'CN=acs.example.net, C=DE'"};
    default:
      return Error{"needle " + quote(needle) + " is not well-formed: must be such as 'CN=acs.example.net, C=DE'"};
  }
}

}  // namespace phoned

#else

namespace phoned {

Result<std::string> match_subject(const std::string&, const std::string&) {
  return Error{"this phoned was built without certificates"};
}

}  // namespace phoned

#endif
