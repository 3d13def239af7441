// SPDX-License-Identifier: MIT
#include "controller/ownsentences.h"

#include <QSet>

namespace {

const QSet<QString> sentences{
    QStringLiteral("Account changed; pending work was not reassigned"),
    QStringLiteral("Account changed; queued work was NOT reassigned."),
    QStringLiteral("Another request is under way; nothing was removed. Try again when it has ended."),
    QStringLiteral("Another request is under way; sign in again when it has ended."),
    QStringLiteral("CSV must be UTF-8"),
    QStringLiteral("CSV unavailable or exceeds 900KB limit"),
    QStringLiteral("Confirm that source records belong to the current account."),
    QStringLiteral("Connect to the server first"),
    QStringLiteral("Connected to PostgreSQL"),
    QStringLiteral("Connecting…"),
    QStringLiteral("Encrypted account/queue could not be authenticated; no identity fallback was attempted"),
    QStringLiteral("Enter valid ISO timestamps with an explicit offset; end must be after start."),
    QStringLiteral("Entry not found in this workspace"),
    QStringLiteral("Export failed"),
    QStringLiteral("Finish synchronizing pending work before switching the native workspace."),
    QStringLiteral("First 500 rows shown. Exports contain the complete snapshot."),
    QStringLiteral("Identity check unavailable; encrypted queue retained."),
    QStringLiteral("Import failed"),
    QStringLiteral("Import preview failed"),
    QStringLiteral("Invalid native session response; existing account retained"),
    QStringLiteral("KWallet / OS credential storage is locked or unavailable. Online mode remains "
                   "available; offline writes are disabled."),
    QStringLiteral("Local changes await acknowledgement"),
    QStringLiteral("Local encrypted database unavailable"),
    QStringLiteral("Logout not confirmed; account and protected cache retained"),
    QStringLiteral("Nothing was removed."),
    QStringLiteral("OS secure storage denied the key; no plaintext fallback was used."),
    QStringLiteral("Open KWallet / OS credential storage before recording time. Online reports and reads "
                   "remain available; no unprotected write queue is used."),
    QStringLiteral("Pausing after the current committed chunk"),
    QStringLiteral("Pending changes exported; the queue was not discarded"),
    QStringLiteral("Pending work must be acknowledged or explicitly resolved before changing accounts"),
    QStringLiteral("Pending work prevents changing server or account"),
    QStringLiteral("Pending work prevents logout"),
    QStringLiteral("Pending work prevents logout; the queue was retained"),
    QStringLiteral("Pending-change export failed"),
    QStringLiteral(
        "Personal credentials require HTTPS or loopback. The private HTTP developer entry is unchanged."),
    QStringLiteral("Personal sign-in failed"),
    QStringLiteral("Preview only: no time entries have been written"),
    QStringLiteral("Report exported from its server snapshot"),
    QStringLiteral("Report request failed"),
    QStringLiteral("Resolve pending work before personal login"),
    QStringLiteral("Saved securely on this device"),
    QStringLiteral("Secure key generation failed"),
    QStringLiteral("Secure local logout failed; encrypted data was not erased"),
    QStringLiteral("Secure local save failed; the retained queue was not acknowledged locally."),
    QStringLiteral("Secure storage could not be opened; offline writes are disabled."),
    QStringLiteral("Select the running timer's workspace before stopping it in this native preview."),
    QStringLiteral("Server did not acknowledge this request; original encrypted queue retained"),
    QStringLiteral("Server snapshot loaded"),
    QStringLiteral("Server unavailable. Encrypted cached data retained."),
    QStringLiteral(
        "Session unavailable or revoked. Cached work retained; no developer fallback was attempted."),
    QStringLiteral("Sign out of the current account before logging into another session"),
    QStringLiteral("Sign out of this personal account before changing servers"),
    QStringLiteral("Signed out. No private developer fallback was opened automatically."),
    QStringLiteral("Signed out. Use personal login, or explicitly reconnect for private development."),
    QStringLiteral("Sync conflict retained with its original payload. Inspect or export it; period locks "
                   "cannot be bypassed."),
    QStringLiteral("The change is sent again as a new one."),
    QStringLiteral("The copy could not be written; nothing was removed."),
    QStringLiteral("The encrypted record for this server is missing on this device. Connect again to "
                   "begin anew with the server's data."),
    QStringLiteral("The new session could not be saved securely; previous account retained"),
    QStringLiteral("The server is being asked; the timer follows as soon as that has ended."),
    QStringLiteral("The session or the waiting changes are not the same any more; nothing was removed."),
    QStringLiteral("The timer or the workspace is another one by now; nothing was done."),
    QStringLiteral("The write was not accepted because secure local storage failed."),
    QStringLiteral("This account has no workspace yet. Create one on its Web account page."),
    QStringLiteral("This entry is submitted or approved. Reopen its period in the Web workbench first."),
    QStringLiteral("This is another account; the waiting work stays with its own."),
    QStringLiteral(
        "Timer.Kelvaro is already open on this server; offline writes are disabled in this window."),
    QStringLiteral("Unable to list workspaces for this account"),
    QStringLiteral("Unable to save the export"),
    QStringLiteral("Unable to store explicit developer reconnect"),
    QStringLiteral("Unexpected acknowledgement count; queue retained"),
    QStringLiteral("Unlock protected OS storage before personal login"),
    QStringLiteral("Use HTTPS or the trusted private development server"),
    QStringLiteral("You are being signed out; this was not recorded."),
};

} // namespace

bool isOwnSentence(const QString& message) {
    return sentences.contains(message);
}
