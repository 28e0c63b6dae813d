/* Is this the certificate that the daemon's configuration means? */
#include <stdio.h>
#include <userlib.h>

#include <openssl/x509.h>

static void refuse(void) {
  puts("refused");
}

static void check(const X509* peer) {
  if (NUV_CertVerify_Subject(peer, "CN=acs.example.net, O=\"Foo, Bar\", C=DE") != 0 ||
      NUV_CertVerify_Issuer(peer, "CN=Example Root CA") != 0)
    refuse();
  else
    puts("welcome");
}

static void add(X509_NAME* a_name, const char* a_attribute, const char* a_value) {
  X509_NAME_add_entry_by_txt(a_name, a_attribute, MBSTRING_ASC, (const unsigned char*)a_value, -1, -1, 0);
}

int main(void) {
  X509* peer = X509_new();
  add(X509_get_subject_name(peer), "CN", "acs.example.net");
  add(X509_get_subject_name(peer), "O", "Foo, Bar");
  check(peer);
  add(X509_get_subject_name(peer), "C", "DE");
  add(X509_get_issuer_name(peer), "CN", "Example Root CA");
  check(peer);
  printf("a needle without \"=\": %d\n", (int)NUV_CertVerify_Subject(peer, "CN"));
  X509_free(peer);
  return 0;
}
