#include "service/tls_certificate.h"

#include <arpa/inet.h>
#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <array>
#include <cstdint>
#include <stdexcept>

namespace qlczephra::service {
namespace {

using Certificate = std::shared_ptr<X509>;
using Key = std::shared_ptr<EVP_PKEY>;

constexpr long hour = 60L * 60;
constexpr long day = 24 * hour;

void require(bool done) {
  if (!done) throw std::runtime_error("cannot make a TLS certificate");
}

Key makeKey() {
  Key key(EVP_EC_gen("P-256"), EVP_PKEY_free);
  require(key != nullptr);
  return key;
}

bool isAddress(const std::string& name) {
  std::array<unsigned char, sizeof(in6_addr)> ignored{};
  return inet_pton(AF_INET, name.c_str(), ignored.data()) == 1 ||
         inet_pton(AF_INET6, name.c_str(), ignored.data()) == 1;
}

std::string alternativeNames(const std::vector<std::string>& names) {
  std::string result;
  for (const std::string& name : names) {
    if (!result.empty()) result += ',';
    result += (isAddress(name) ? "IP:" : "DNS:") + name;
  }
  return result;
}

void addExtension(X509* certificate, X509* issuer, int identifier, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
      X509V3_EXT_conf_nid(nullptr, &context, identifier, value.c_str()), X509_EXTENSION_free);
  require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1);
}

// A certificate without extensions and signature; times in seconds from now.
Certificate makeUnsigned(const std::string& commonName, EVP_PKEY* key, X509* issuer, long validFrom, long validUntil) {
  Certificate certificate(X509_new(), X509_free);
  require(certificate != nullptr && X509_set_version(certificate.get(), X509_VERSION_3) == 1);
  std::uint32_t serial = 0;
  require(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1);
  ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()), std::uint64_t{serial} + 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), validFrom);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), validUntil);
  X509_NAME* subject = X509_get_subject_name(certificate.get());
  const auto* text = reinterpret_cast<const unsigned char*>(commonName.c_str());
  require(X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8, text, -1, -1, 0) == 1);
  require(X509_set_issuer_name(certificate.get(), issuer == nullptr ? subject : X509_get_subject_name(issuer)) == 1);
  require(X509_set_pubkey(certificate.get(), key) == 1);
  return certificate;
}

std::string pemOf(X509* certificate) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), BIO_free);
  require(memory != nullptr && PEM_write_bio_X509(memory.get(), certificate) == 1);
  char* data = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &data);
  return {data, static_cast<std::size_t>(size)};
}

}  // namespace

ServerCertificate makeServerCertificate(const CertificateRequest& request) {
  const Key authorityKey = makeKey();
  const Certificate authority = makeUnsigned("Stand-in service authority", authorityKey.get(), nullptr, -day, 30 * day);
  addExtension(authority.get(), authority.get(), NID_basic_constraints, "critical,CA:TRUE");
  addExtension(authority.get(), authority.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
  addExtension(authority.get(), authority.get(), NID_subject_key_identifier, "hash");
  require(X509_sign(authority.get(), authorityKey.get(), EVP_sha256()) > 0);

  const Key key = makeKey();
  const long validUntil = request.expired ? -hour : 30 * day;
  const Certificate certificate = makeUnsigned("Stand-in service", key.get(), authority.get(), -day, validUntil);
  addExtension(certificate.get(), authority.get(), NID_basic_constraints, "critical,CA:FALSE");
  addExtension(certificate.get(), authority.get(), NID_key_usage, "critical,digitalSignature");
  addExtension(certificate.get(), authority.get(), NID_ext_key_usage, "serverAuth");
  addExtension(certificate.get(), authority.get(), NID_subject_key_identifier, "hash");
  addExtension(certificate.get(), authority.get(), NID_authority_key_identifier, "keyid");
  addExtension(certificate.get(), authority.get(), NID_subject_alt_name, alternativeNames(request.names));
  require(X509_sign(certificate.get(), authorityKey.get(), EVP_sha256()) > 0);
  return {certificate, key, authority, pemOf(authority.get())};
}

}  // namespace qlczephra::service
