// This machine's Dropbox login: the OAuth2 code flow with PKCE that gets the tokens, their
// refresh, and the one file that keeps them, $XDG_CONFIG_HOME/kestrum/dropbox.json (folder 0700,
// file 0600, written to a temporary file and renamed). Tokens never go into a book: a book linked
// to an account says only which account, and each machine uses its own login for it.
#pragma once

#include <string>

#include "sync/dropbox.h"

namespace vemra::sync {

struct DropboxLogin {
  std::string account;  // the account's e-mail address
  std::string access_token;
  std::string refresh_token;
  std::string api_base;  // the service's address when not the real one (tests)
};

// The login file's path.
std::string LoginPath();
// Reads the login. False when there is none or it cannot be read (`problem` says which).
bool ReadLogin(DropboxLogin& login, std::string& problem);
// Writes the login. False with the reason; the old file then stays.
bool WriteLogin(const DropboxLogin& login, std::string& problem);
// Removes the login; true when there was one.
bool RemoveLogin();

// A PKCE code verifier: 64 random characters of the unreserved set.
std::string NewVerifier();
// Its S256 challenge: the SHA-256 digest in base64url without padding.
std::string Challenge(const std::string& verifier);
// The address where the user allows access and gets a code to paste.
std::string AuthorizeUrl(const DropboxHosts& hosts, const std::string& challenge);
// Exchanges the pasted `code` (with its `verifier`) for tokens, then asks for the account's
// address. On success `login` holds all four fields (api_base as given in it).
Status ExchangeCode(const DropboxHosts& hosts, const std::string& code, const std::string& verifier,
                    DropboxLogin& login);
// Gets a new access token for `login.refresh_token` into `login.access_token`.
Status RefreshAccessToken(const DropboxHosts& hosts, DropboxLogin& login);

// The cloud account record a book keeps in its database text 3: exactly
// { "account": "a@b.c", "token": "" } with those spaces. Non-ASCII is written as is (UTF-8).
std::string AccountRecord(const std::string& account, const std::string& token);

}  // namespace vemra::sync
