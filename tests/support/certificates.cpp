#include "tests/support/certificates.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <stdexcept>

namespace qlczephra::test {
namespace {

using Key = std::shared_ptr<EVP_PKEY>;
using Certificate = std::shared_ptr<X509>;

void check(bool good, const char* what) {
  if (!good) throw std::runtime_error(what);
}

template <typename Write>
std::string pem(Write write) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> out(BIO_new(BIO_s_mem()), &BIO_free);
  check(out && write(out.get()) == 1, "PEM");
  char* text = nullptr;
  const long length = BIO_get_mem_data(out.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

std::string pemOf(const Certificate& certificate) {
  return pem([&](BIO* out) { return PEM_write_bio_X509(out, certificate.get()); });
}

void addExtension(X509* certificate, X509* issuer, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
  check(extension != nullptr, "extension");
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

Certificate blankCertificate(const Key& key, const std::string& commonName, const CertificateWishes& wishes) {
  Certificate certificate(X509_new(), X509_free);
  check(certificate != nullptr, "certificate");
  X509_set_version(certificate.get(), X509_VERSION_3);
  std::uint64_t serial = 0;
  check(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), 7) == 1, "serial number");
  ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()), serial);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), wishes.validFrom.count());
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), wishes.validUntil.count());
  X509_set_pubkey(certificate.get(), key.get());
  X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(commonName.c_str()), -1, -1, 0);
  return certificate;
}

Key makeKey() {
  Key key(EVP_EC_gen("P-256"), EVP_PKEY_free);
  check(key != nullptr, "key");
  return key;
}

}  // namespace

CertificateAuthority::CertificateAuthority(const std::string& name)
    : key_(makeKey()), certificate_(blankCertificate(key_, name, {})) {
  X509_set_issuer_name(certificate_.get(), X509_get_subject_name(certificate_.get()));
  addExtension(certificate_.get(), certificate_.get(), NID_basic_constraints, "critical,CA:TRUE");
  addExtension(certificate_.get(), certificate_.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
  addExtension(certificate_.get(), certificate_.get(), NID_subject_key_identifier, "hash");
  check(X509_sign(certificate_.get(), key_.get(), EVP_sha256()) != 0, "signature");
}

std::string CertificateAuthority::certificate() const {
  return pemOf(certificate_);
}

ServerIdentity CertificateAuthority::issue(const CertificateWishes& wishes) const {
  const Key key = makeKey();
  const Certificate certificate = blankCertificate(key, wishes.commonName, wishes);
  X509_set_issuer_name(certificate.get(), X509_get_subject_name(certificate_.get()));
  std::string names;
  for (const std::string& host : wishes.hosts) names += (names.empty() ? "DNS:" : ",DNS:") + host;
  for (const std::string& address : wishes.addresses) names += (names.empty() ? "IP:" : ",IP:") + address;
  if (!names.empty()) addExtension(certificate.get(), certificate_.get(), NID_subject_alt_name, names);
  addExtension(certificate.get(), certificate_.get(), NID_ext_key_usage, "serverAuth");
  check(X509_sign(certificate.get(), key_.get(), EVP_sha256()) != 0, "signature");
  return {pemOf(certificate) + pemOf(certificate_), pem([&](BIO* out) {
            return PEM_write_bio_PrivateKey(out, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
          })};
}

}  // namespace qlczephra::test
