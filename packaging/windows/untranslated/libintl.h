// SPDX-License-Identifier: Apache-2.0
/* Stands for gettext in the cross build of GLib and Aravis, which nobody reads a translation of: every text
   comes back as it went in. Only what they call. */
#ifndef UNTRANSLATED_LIBINTL_H
#define UNTRANSLATED_LIBINTL_H

#include <locale.h>

/* GLib asks for the locale of this category, which Windows does not have. The number is gettext's. */
#ifndef LC_MESSAGES
#define LC_MESSAGES 1729
#endif

/* GLib makes an error of a format that the compiler cannot follow to its text. */
#define UNTRANSLATED(argument) __attribute__((format_arg(argument)))

#ifdef __cplusplus
extern "C" {
#endif
char* gettext(const char* text) UNTRANSLATED(1);
char* dgettext(const char* domain, const char* text) UNTRANSLATED(2);
char* dcgettext(const char* domain, const char* text, int category) UNTRANSLATED(2);
char* ngettext(const char* one, const char* many, unsigned long count) UNTRANSLATED(1) UNTRANSLATED(2);
char* dngettext(const char* domain, const char* one, const char* many, unsigned long count) UNTRANSLATED(2)
    UNTRANSLATED(3);
char* textdomain(const char* domain);
char* bindtextdomain(const char* domain, const char* folder);
char* bind_textdomain_codeset(const char* domain, const char* codeset);
#ifdef __cplusplus
}
#endif

#endif
