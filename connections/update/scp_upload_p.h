#pragma once

#include "connections/update/file_upload_p.h"
#include "connections/update/ssh_link_p.h"

namespace CommonNOX::Connections
{

/// Sends a file to the sink of `scp -t` over a command channel, for devices without SFTP. Every acknowledgement is
/// waited for and read, as a device whose disk is full tells so only there. False with a sentence in `error`.
bool SendByScp(SshLink &link, FileUpload &upload, const std::function<void(qint64 sentBytes)> &progress,
               QString &error);

} // namespace CommonNOX::Connections
