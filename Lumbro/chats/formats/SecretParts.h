#pragma once

// What patterns of secrets are put together from: texts that the compiler joins. Macros, as a constant can't
// be joined with a literal. For SecretRules.cpp alone.

// Left of a key there is no letter or digit, so that words which merely end like its beginning stay.
#define LUMBRO_EDGE "(?<![A-Za-z0-9])"

// What stands for a password that is filled in later.
#define LUMBRO_PLACEHOLDER                                                                          \
    R"re((?:<[^<>\n]{0,60}>|\$\{[^{}\n]{0,80}\}|\$\([^()\n]{0,80}\)|\$[A-Z_]{3,40}\d?|\$\d|)re"     \
    R"re(\$(?:env:)?\w{0,40}?(?i:pass(?:word|wd|phrase)?|pw|pwd|secret|token|key)(?!\w)|)re"        \
    R"re(\$?\{\{[^{}\n]{0,80}\}\}|#\{[^{}\n]{0,80}\}|\{(?:\d?|[A-Za-z_]\w{0,40}\.[\w.()]{1,40}|)re" \
    R"re([\w.]{0,40}(?i:pass|pw|secret|token)[\w.]{0,40})\}|%[ds]|%[({]\w{1,40}[)}]s?|)re"          \
    R"re(%\w{1,40}%|\[[^\[\]\n]{0,60}\]|\*+|[xX]{3,}|\.{3}))re"

// Words that stand for no password where one may stand.
#define LUMBRO_NO_PASSWORD                                                                                   \
    "(?:required|optional|string|str|text|bytes?|n?(?:var)?char\\d*|hidden|unknown|missing|expired|invalid|" \
    "valid|"                                                                                                 \
    "unchanged|changed|pending|default|none|null|nil|undefined|bool(?:ean)?|number|integer|object|array|"    \
    "field|input|masked|redacted|encrypted|hashed|never|always|enabled|disabled|stored|secret|password|"     \
    "deprecated|forgotten|empty|reset|rotated?|confirmed|verified|working|correct|incorrect|wrong|anything|" \
    "whatever|nothing|something|placeholder|protected|sensitive|private|plain(?:text)?|cleartext|unset|"     \
    "removed|unbekannt|vergessen|geheim|leer|keine?s?|notwendig|erforderlich|bcrypt|argon\\w*|scrypt|"       \
    "pbkdf\\w*|keychain|vault|letters|digits|hash|md5|base64\\w*|sha\\d+"                                    \
    "\\w*|oauth\\d?|1password|(?:chapter|section|step|page|version)\\d+)"

// A password of small letters alone, or of four such words and more: not as sentences and other texts end.
#define LUMBRO_LETTERS                                                                                       \
    R"re((?-i:[a-z])(?:(?![a-z]{0,40}(?:ed|able|ible|nal|ung|lich|bar|los|iert|isch)(?![a-z]))[a-z]{5,}|)re" \
    R"re((?![a-z\-]{0,200}-(?:an?|and|as|by|for|from|if|in|is|it|not|of|on|or|the|to|with)-))re"             \
    R"re([a-z]*(?:-[a-z]+){3,}))re"

// A run of letters and digits as keys have it; words that are joined by signs have none.
#define LUMBRO_RUN R"((?=[+/=_\-.~]?(?:[A-Za-z0-9]++[+/=_\-.~]++){0,8}[A-Za-z0-9]{16}))"

// The parts of a connection string, beside its password.
#define LUMBRO_SERVER                                                                                    \
    R"((?:server|data source|addr(?:ess)?|host(?:name)?|uid|user[ _]?id|user(?:[ _]?name)?|driver|dsn|)" \
    R"(database(?:name)?|initial catalog|provider|port|endpoint)\s?=)"
// The name of its password; a path behind PWD is a shell's. And a password in braces or in quotes.
#define LUMBRO_PWD R"((?:password=|pwd=(?!~/|/(?:home|tmp|usr|var|opt|root|etc|mnt|srv)\b|[a-z]:\\)))"
#define LUMBRO_CLOSED \
    R"((?:\{(?:[^}\n]|\}\}){1,200}+\}|\\*"[^"\s;+&<.,][^"\n]{0,200}"|'[^'\s;+&<.,][^'\n]{0,200}'))"

// What parts a name from its text, with a mark of emphasis or of code before or behind.
#define LUMBRO_MARKED R"re((?:[*_`]{1,3}[ \t]?[:=]|[ \t]?[:=][*_]{1,3})[ \t]*[*_]{0,3}["'`]?)re"
