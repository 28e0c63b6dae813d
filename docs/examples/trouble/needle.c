/* Says what the library says to a certificate and a needle: needle FILE NEEDLE. */
#include <stdio.h>
#include <userlib.h>

#include <openssl/pem.h>

int main(int argc, char** argv) {
  FILE* const file = argc == 3 ? fopen(argv[1], "r") : NULL;
  X509* const certificate = file != NULL ? PEM_read_X509(file, NULL, NULL, NULL) : NULL;
  if (certificate == NULL)
    return 1;
  printf("%d\n", (int)NUV_CertVerify_Subject(certificate, argv[2]));
  X509_free(certificate);
  return fclose(file);
}
