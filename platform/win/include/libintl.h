// The message catalog calls for the Windows build, which carries no catalogs: the calls behave
// as GNU gettext does when no catalog of the domain is found (every text is its own
// translation), so the administrator texts stay English.
#ifndef VELA_PLATFORM_WIN_LIBINTL_H_
#define VELA_PLATFORM_WIN_LIBINTL_H_

inline char* gettext(const char* msgid) { return const_cast<char*>(msgid); }
inline char* textdomain(const char* domainname) {
  return const_cast<char*>(domainname != nullptr ? domainname : "messages");
}
inline char* bindtextdomain(const char* /*domainname*/, const char* dirname) {
  return const_cast<char*>(dirname);
}

#endif  // VELA_PLATFORM_WIN_LIBINTL_H_
