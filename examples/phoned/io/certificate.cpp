// The command "cert".
#include "phoned/core/text.h"
#include "phoned/io/commands.h"

#ifdef PHONED_CERT

#include <memory>

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include "nuv_cert_verify.h"

namespace phoned {

namespace {

struct Free {
  void operator()(BIO* bio) const { BIO_free(bio); }
  void operator()(X509* certificate) const { X509_free(certificate); }
};

// A daemon cannot ask for a pass phrase.
int no_pass_phrase(char*, int, int, void*) {
  return -1;
}

// The first certificate, or null.
std::unique_ptr<X509, Free> read_certificate(const std::string& file) {
  constexpr size_t kMaxFile = 65536;
  std::string pem;
  try {
    pem = read_file(file, kMaxFile);
  } catch (const Error& error) {
    throw Error("certificate " + quote_path(file) + " cannot be read: " + error.what());
  }
  const std::unique_ptr<BIO, Free> bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  std::unique_ptr<X509, Free> certificate(bio ? PEM_read_bio_X509(bio.get(), nullptr, no_pass_phrase, nullptr)
                                              : nullptr);
  ERR_clear_error();
  return certificate;
}

}  // namespace

std::string match_subject(const std::string& file, const std::string& needle) {
  constexpr char kRule[] = ": must be such as 'CN=acs.example.net, C=DE'";
  const auto certificate = read_certificate(file);
  if (!certificate) {
    throw Error(quote_path(file) + " holds no certificate: must be a PEM file");
  }
  switch (NUV_CertVerify_Subject(certificate.get(), needle.c_str())) {
    case 0:
      return "the subject matches";
    case -1:
      return "the subject does not match";
    case -2:
      throw Error("needle " + quote(needle) + " is empty, or an item of it" + kRule);
    default:
      throw Error("needle " + quote(needle) + " is not well-formed" + kRule);
  }
}

}  // namespace phoned

#else

std::string phoned::match_subject(const std::string&, const std::string&) {
  throw Error("this phoned was built without certificates");
}

#endif
