#include "connections/update/ssh_link_p.h"
#include "connections/update/ssh_socket_p.h"

#include <QFile>
#include <QStringList>

#include <memory>
#include <unistd.h>

namespace CommonNOX::Connections
{

namespace
{

/// How many rounds of questions a server may ask for one password.
constexpr int MaximumRounds = 8;
constexpr qint64 LongestLine = 64 * 1024;

/// As people compare it with what the device's maker told them.
QString fingerprintOf(ssh_session session)
{
    ssh_key raw = nullptr;
    if (ssh_get_server_publickey(session, &raw) != SSH_OK)
        return QStringLiteral("no key");
    const SshKey key(raw);
    unsigned char *hash = nullptr;
    std::size_t size = 0;
    if (ssh_get_publickey_hash(key.get(), SSH_PUBLICKEY_HASH_SHA256, &hash, &size) != SSH_OK)
        return QStringLiteral("no key");
    char *text = ssh_get_fingerprint_hash(SSH_PUBLICKEY_HASH_SHA256, hash, size);
    const QString fingerprint = QStringLiteral("%1 %2").arg(
        QLatin1String(ssh_key_type_to_char(ssh_key_type(key.get()))), QLatin1String(text ? text : "?"));
    ssh_string_free_char(text);
    ssh_clean_pubkey_hash(&hash);
    return fingerprint;
}

/// Whether the file has the server's key among those that nobody may trust any more, of whatever host: the library
/// looks at keys to trust only.
bool isRevoked(ssh_session session, const QString &knownHostsFile)
{
    ssh_key raw = nullptr;
    char *text = nullptr;
    if (ssh_get_server_publickey(session, &raw) != SSH_OK)
        return false;
    const SshKey key(raw);
    if (ssh_pki_export_pubkey_base64(key.get(), &text) != SSH_OK)
        return false;
    const QByteArray own(text);
    ssh_string_free_char(text);
    QFile file(knownHostsFile);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine(LongestLine).simplified();
        if (line.startsWith("@revoked ") && line.split(' ').value(3) == own)
            return true;
    }
    return false;
}

int answerQuestions(ssh_session session, const QByteArray &password)
{
    int result = ssh_userauth_kbdint(session, nullptr, nullptr);
    for (int round = 0; result == SSH_AUTH_INFO && round < MaximumRounds; ++round) {
        const int prompts = ssh_userauth_kbdint_getnprompts(session);
        for (int i = 0; i < prompts; ++i)
            ssh_userauth_kbdint_setanswer(session, unsigned(i), password.constData());
        result = ssh_userauth_kbdint(session, nullptr, nullptr);
    }
    return result;
}

} // namespace

QString SshLink::checkHostKey(const SshEndpoint &endpoint)
{
    if (isRevoked(m_session, endpoint.knownHostsFile))
        return QStringLiteral("the host key %1 is revoked; nothing was sent").arg(fingerprintOf(m_session));
    const ssh_known_hosts_e known = ssh_session_is_known_server(m_session);
    switch (known) {
    case SSH_KNOWN_HOSTS_OK:
        return {};
    case SSH_KNOWN_HOSTS_CHANGED:
        return QStringLiteral("the host key has changed to %1, somebody else may be answering; nothing was sent")
            .arg(fingerprintOf(m_session));
    case SSH_KNOWN_HOSTS_OTHER:
        return QStringLiteral("the host key %1 is of another type than the known one, somebody else may be answering; "
                              "nothing was sent")
            .arg(fingerprintOf(m_session));
    case SSH_KNOWN_HOSTS_UNKNOWN:
    case SSH_KNOWN_HOSTS_NOT_FOUND:
        break;
    case SSH_KNOWN_HOSTS_ERROR:
        return QStringLiteral("the known host keys in %1 cannot be checked: %2; nothing was sent")
            .arg(endpoint.knownHostsFile, failure());
    }
    if (!endpoint.acceptsNewHostKey) {
        m_isHostKeyUnknown = true;
        return QStringLiteral("the host key %1 is unknown; nothing was sent").arg(fingerprintOf(m_session));
    }
    if (ssh_session_update_known_hosts(m_session) != SSH_OK)
        return QStringLiteral("the host key cannot be stored in %1: %2").arg(endpoint.knownHostsFile, failure());
    return {};
}

QString SshLink::readIdentity(const SshEndpoint &endpoint, SshKey &identity)
{
    if (endpoint.identityFile.isEmpty())
        return {};
    const QByteArray path = QFile::encodeName(endpoint.identityFile);
    const QByteArray password = endpoint.password.toUtf8();
    // Without somebody to ask, the library would ask the terminal, and wait for it without end.
    bool wasAsked = false;
    const auto refuse = [](const char *, char *, size_t, int, int, void *asked) {
        *static_cast<bool *>(asked) = true;
        return -1;
    };
    ssh_key raw = nullptr;
    const int status = ssh_pki_import_privkey_file(
        path.constData(), password.isEmpty() ? nullptr : password.constData(), refuse, &wasAsked, &raw);
    identity.reset(status == SSH_OK ? raw : nullptr);
    if (status == SSH_OK)
        return {};
    return wasAsked ? QStringLiteral("the identity %1 needs a password").arg(endpoint.identityFile)
                    : QStringLiteral("the identity %1 cannot be read").arg(endpoint.identityFile);
}

int SshLink::askAgent()
{
    const int socket = ConnectAgent();
    if (socket < 0)
        return SSH_AUTH_DENIED;
    // An agent that does not answer is given up like a device.
    m_watchdog.addSocket(socket);
    // The session closes it from here on.
    if (ssh_set_agent_socket(m_session, socket) != SSH_OK) {
        ::close(socket);
        return SSH_AUTH_DENIED;
    }
    return ssh_userauth_agent(m_session, nullptr);
}

/// The identity, the agent, the password: whatever is at hand, in this order, until the server is content. What opens
/// the identity is nobody's business but this computer's.
QString SshLink::logIn(const SshEndpoint &endpoint, ssh_key identity)
{
    int result = ssh_userauth_none(m_session, nullptr);
    QStringList tried;
    const auto attempt = [&](const char *way, auto &&run) {
        if (result == SSH_AUTH_SUCCESS || result == SSH_AUTH_ERROR)
            return;
        tried.append(QLatin1String(way));
        result = run();
    };
    const QByteArray password = endpoint.password.toUtf8();
    if (identity)
        attempt("the identity", [&] { return ssh_userauth_publickey(m_session, nullptr, identity); });
    if (qEnvironmentVariableIsSet("SSH_AUTH_SOCK"))
        attempt("the agent", [&] { return askAgent(); });
    if (!identity && !password.isEmpty()) {
        attempt("the password", [&] { return ssh_userauth_password(m_session, nullptr, password.constData()); });
        attempt("the password as an answer", [&] { return answerQuestions(m_session, password); });
    }
    if (result == SSH_AUTH_SUCCESS)
        return {};
    if (m_watchdog.hasFired() && !tried.isEmpty())
        return QStringLiteral("%1 did not answer in time").arg(tried.last());
    if (result == SSH_AUTH_ERROR || !isOpen())
        return failure();
    return tried.isEmpty()
               ? QStringLiteral("the device wants an identity or a password of %1").arg(endpoint.user)
               : QStringLiteral("the device refuses %1 (%2)").arg(endpoint.user, tried.join(QStringLiteral(", ")));
}

} // namespace CommonNOX::Connections
