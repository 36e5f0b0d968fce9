#include "connections/update/file_digest.h"

#include <array>
#include <openssl/evp.h>

namespace CommonNOX::Connections
{

struct FileDigest::Private
{
    EVP_MD_CTX *context = EVP_MD_CTX_new();

    Private() { EVP_DigestInit_ex(context, EVP_sha256(), nullptr); }
    Private(const Private &) = delete;
    Private &operator=(const Private &) = delete;
    ~Private() { EVP_MD_CTX_free(context); }
};

FileDigest::FileDigest() : d(std::make_unique<Private>()) {}
FileDigest::~FileDigest() = default;

void FileDigest::add(const char *bytes, std::size_t count)
{
    EVP_DigestUpdate(d->context, bytes, count);
}

QByteArray FileDigest::hexadecimal()
{
    QByteArray digest(EVP_MAX_MD_SIZE, '\0');
    unsigned int size = 0;
    EVP_DigestFinal_ex(d->context, reinterpret_cast<unsigned char *>(digest.data()), &size);
    return digest.left(int(size)).toHex();
}

QByteArray FileDigest::OfFile(const QString &path, QString &error)
{
    QFile file(path);
    FileDigest digest;
    std::array<char, 64 * 1024> piece;
    qint64 got = file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) ? 0 : -1;
    while (got >= 0 && (got = file.read(piece.data(), qint64(piece.size()))) > 0)
        digest.add(piece.data(), std::size_t(got));
    if (got == 0)
        return digest.hexadecimal();
    error = QStringLiteral("%1 cannot be read: %2").arg(path, file.errorString());
    return {};
}

} // namespace CommonNOX::Connections
