#include "chats/formats/SecretRules.h"

#include "chats/formats/SecretParts.h"

#include <array>

// Where a run of characters may fail to go on as wanted, the search skips it whole, so that no text makes it
// slow: "(*SKIP)" stands behind a run that has been read.

namespace lumbro {

namespace {

constexpr const char* key = "[hidden key]";
constexpr const char* token = "[hidden token]";

constexpr std::array rules{
    // Before the others, which would take a part of these and leave the rest.
    SecretRule{"AKIA ASIA",
               R"(A(?:KIA|SIA)[0-9A-Z]{16}(?![0-9A-Za-z])[\s\S]{1,60}?(?<![A-Za-z0-9/+=])\K)"
               R"((?=[a-z0-9/+]{0,39}[A-Z])(?=[A-Z0-9/+]{0,39}[a-z])(?=[A-Za-z/+]{0,39}\d))"
               R"([A-Za-z0-9/+]{40}(?![A-Za-z0-9/+=]))",
               key},
    SecretRule{
        "password pwd",
        R"re((?i)(\b)re" LUMBRO_SERVER R"re([^;="'\n]{0,200};\s?)re"
        R"re((?:[a-z][\w .\-]{0,40}=[^;"'\n]{0,200};\s?){0,12}?)re" LUMBRO_PWD
        R"re()(?!)re" LUMBRO_PLACEHOLDER R"re(\s?(?:[;"'\n]|$))(?:)re" LUMBRO_CLOSED
        R"re(|[^;\s"']+(?:[ \t]+[^;\s"']+){1,5}(?=[ \t]{0,200}(?:;\s*(?:[a-z][\w ]{0,40}=|["']|$)|["']))|)re"
        R"re((?:[^;\s"']|["'](?=\w[^;\s"']*;))+))re",
        R"(\1[hidden])"},
    SecretRule{"password pwd",
               R"re((?i)(\b)re" LUMBRO_PWD R"re()(?!)re" LUMBRO_PLACEHOLDER R"re(\s?;)(?:)re" LUMBRO_CLOSED
               R"re(|[^;"'\n]{1,100}?)(?=;\s?)re" LUMBRO_SERVER ")",
               R"(\1[hidden])"},
    SecretRule{
        "password",
        R"re((?i)(\b(?:host(?:addr)?|dbname|user|port|sslmode)=\S{1,100}\s+(?:\w{1,40}=\S{1,100}\s+){0,8}?)re"
        R"re(password\s?=\s?)'(?:[^'\\\n]|\\.){1,100}')re",
        R"(\1[hidden])"},
    SecretRule{"password",
               R"re((?i)(\bpassword=)'(?:[^'\\\n]|\\.){1,100}')re"
               R"re((?=\s+(?:host(?:addr)?|dbname|user|port|sslmode)=))re",
               R"(\1[hidden])"},

    // What is hidden first, and everywhere.
    SecretRule{"sk-", R"(sk-[A-Za-z0-9_\-]{16,})", key},
    SecretRule{"ghp_ gho_ ghu_ ghs_ ghr_", R"(gh[pousr]_[A-Za-z0-9]{20,})", key},
    SecretRule{"xox", R"(xox[abprs]-[A-Za-z0-9\-]{10,})", key},
    SecretRule{"AKIA", R"(AKIA[0-9A-Z]{16})", key},
    SecretRule{"AIza", R"(AIza[0-9A-Za-z_\-]{35})", key},
    SecretRule{"eyJ", R"(eyJ[A-Za-z0-9_\-]{10,}+(*SKIP)\.[A-Za-z0-9_\-]{10,}+\.[A-Za-z0-9_\-]{10,})", token},
    SecretRule{"apikey api_key api-key secret token passw",
               R"((?i)\b(api[_-]?key|secret|token|password|passwd)(\s*[:=]\s*)["']?[^\s"']{6,})",
               R"(\1\2[hidden])"},

    // Blocks of several lines; one that is cut off is hidden to its end.
    SecretRule{
        "-----begin",
        R"(-----BEGIN [A-Z0-9 ]*PRIVATE KEY(?: BLOCK)?-----(?=[\s\S]{0,300}?(?:[A-Za-z0-9+/=]{32}|)"
        // Three short lines.
        R"((?=\D{0,60}\d)(?:(?:[^\w\n\\\-]{0,40}(?:\\+r)?(?:\n|\\+n)){1,2}[^\w\n\\\-]{0,40}[A-Za-z0-9+/=]{8,}+){3})))"
        R"((?:[^\-]++|-(?!----))*+(?:-----END [A-Z0-9 ]*PRIVATE KEY(?: BLOCK)?-----)?)",
        key},
    SecretRule{"---- begin",
               R"(---- BEGIN SSH2 [A-Z ]*PRIVATE KEY ----(?=[\s\S]{0,600}?[A-Za-z0-9+/=]{16}))"
               R"((?:[^\-]++|-(?!---))*+(?:---- END SSH2 [A-Z ]*PRIVATE KEY ----)?)",
               key},
    SecretRule{"private-lines", R"((Private-Lines:\s*\d+\s+)[A-Za-z0-9+/=\s]{40,})", R"(\1[hidden key])"},

    // Clouds.
    SecretRule{"ASIA ABIA ACCA", LUMBRO_EDGE R"(A(?:SIA|BIA|CCA)[0-9A-Z]{16}(?![0-9A-Za-z]))", key},
    SecretRule{
        "aws",
        R"re((?i)(aws[_\-]?(?:secret|session)[_\-]?(?:access[_\-]?)?(?:key|token)["']?\s*[:=]\s*["']?))re"
        R"([A-Za-z0-9/+=]{16,})",
        R"(\1[hidden])"},
    SecretRule{"LTAI", LUMBRO_EDGE R"(LTAI[A-Za-z0-9]{12,26}(?![A-Za-z0-9]))", key},
    SecretRule{"accountkey= sharedaccesskey=", R"(((?:Account|SharedAccess)Key=)[A-Za-z0-9+/=]{40,})",
               R"(\1[hidden])"},
    SecretRule{"sig=", R"(([?&]sig=)[A-Za-z0-9%+/=]{40,})", R"(\1[hidden])"},
    SecretRule{"8q~", LUMBRO_EDGE R"([A-Za-z0-9_~.]{3}8Q~[A-Za-z0-9_~.\-]{31,34})", key},
    SecretRule{"gocspx-", R"(GOCSPX-[A-Za-z0-9_\-]{20,})", key},
    SecretRule{"ya29.", LUMBRO_EDGE R"(ya29\.[A-Za-z0-9_\-]{20,})", token},
    SecretRule{"1//0", LUMBRO_EDGE R"(1//0[A-Za-z0-9_\-]{40,})", token},
    SecretRule{"dop_v1_ doo_v1_ dor_v1_", LUMBRO_EDGE R"(do[por]_v1_[a-f0-9]{64})", key},
    SecretRule{"hvs. hvb.", LUMBRO_EDGE R"(hv[sb]\.[A-Za-z0-9_\-]{24,})", token},
    SecretRule{".atlasv1.", LUMBRO_EDGE R"([A-Za-z0-9]{14}\.atlasv1\.[A-Za-z0-9_\-=]{60,})", token},
    SecretRule{"dapi", LUMBRO_EDGE R"(dapi[0-9a-f]{32}(?:-\d)?(?![0-9A-Za-z]))", key},
    SecretRule{"pscale_", LUMBRO_EDGE R"(pscale_(?:tkn|pw|oauth)_[A-Za-z0-9_.\-]{32,})", key},
    SecretRule{"sbp_ sb_secret_", LUMBRO_EDGE R"(sb(?:p_[a-f0-9]{40}|_secret_[A-Za-z0-9_\-]{20,}))", key},
    SecretRule{"fm2_ fo1_", LUMBRO_EDGE R"((?:fm2_[A-Za-z0-9+/=_\-]{40,}|fo1_[A-Za-z0-9_\-]{40,}))", key},
    SecretRule{"nfp_", LUMBRO_EDGE R"(nfp_[A-Za-z0-9]{36,})", key},
    SecretRule{"HRKU-", R"(HRKU-[A-Za-z0-9_\-]{36,})", key},
    SecretRule{"dp.", LUMBRO_EDGE R"(dp\.(?:pt|st|ct|sa|scim|audit)\.[A-Za-z0-9_.\-]{40,})", key},

    // Code and packages.
    SecretRule{"github_pat_", R"(github_pat_[A-Za-z0-9_]{22,})", key},
    SecretRule{"glpat- gldt- glrt- glcbt- glptt- glft- glsoat- glagent-",
               LUMBRO_EDGE R"(gl(?:pat|dt|rt|cbt|ptt|ft|soat|agent)-[A-Za-z0-9_.\-]{20,})", key},
    SecretRule{"npm_", LUMBRO_EDGE R"(npm_[A-Za-z0-9]{36,})", key},
    SecretRule{"pypi-", LUMBRO_EDGE R"(pypi-[A-Za-z0-9_\-]{50,})", key},
    SecretRule{"rubygems_", LUMBRO_EDGE R"(rubygems_[a-f0-9]{48})", key},
    SecretRule{"dckr_", LUMBRO_EDGE R"(dckr_(?:pat|oat)_[A-Za-z0-9_\-]{20,})", key},
    SecretRule{"atatt3 atctt3", R"(AT[AC]TT3[A-Za-z0-9_\-=]{40,})", key},
    SecretRule{"ccipat_", R"(CCIPAT_[A-Za-z0-9_]{30,})", key},
    SecretRule{"pul-", LUMBRO_EDGE R"(pul-[a-f0-9]{40})", key},
    SecretRule{"PMAK-", R"(PMAK-[a-f0-9]{24}-[a-f0-9]{34})", key},
    SecretRule{"sntrys_ sntryu_", LUMBRO_EDGE R"(sntry[su]_[A-Za-z0-9+/=_\-]{40,})", key},
    SecretRule{"glsa_ glc_", LUMBRO_EDGE R"(gl(?:sa|c)_[A-Za-z0-9+/=_]{32,})", key},
    SecretRule{"nrak-", LUMBRO_EDGE R"(NRAK-[A-Z0-9]{27})", key},

    // Models.
    SecretRule{"hf_", LUMBRO_EDGE R"(hf_[A-Za-z0-9]{30,})", key},
    SecretRule{"gsk_", LUMBRO_EDGE R"(gsk_[A-Za-z0-9]{40,})", key},
    SecretRule{"xai-", LUMBRO_EDGE R"(xai-[A-Za-z0-9]{60,})", key},
    SecretRule{"r8_", LUMBRO_EDGE R"(r8_[A-Za-z0-9]{37})", key},
    SecretRule{"pplx-", LUMBRO_EDGE R"(pplx-[A-Za-z0-9]{40,})", key},
    SecretRule{"tvly-", LUMBRO_EDGE R"(tvly-[A-Za-z0-9\-]{28,})", key},

    // Money and messages.
    SecretRule{"k_live_ k_test_", LUMBRO_EDGE R"([sr]k_(?:live|test)_[A-Za-z0-9]{10,})", key},
    SecretRule{"whsec_", LUMBRO_EDGE R"(whsec_[A-Za-z0-9+/=]{20,})", key},
    SecretRule{"access_token", R"(access_token\$(?:production|sandbox)\$[a-z0-9]{8,}\$[a-f0-9]{32})", key},
    SecretRule{"sq0", LUMBRO_EDGE R"(sq0(?:atp|csp|idp)-[A-Za-z0-9_\-]{22,})", key},
    SecretRule{"EAAA", LUMBRO_EDGE R"(EAAA[A-Za-z0-9_\-]{60,})", key},
    SecretRule{"shpat_ shpca_ shppa_ shpss_", LUMBRO_EDGE R"(shp(?:at|ca|pa|ss)_[a-fA-F0-9]{32})", key},
    SecretRule{"hooks.slack.com/",
               R"((hooks\.slack\.com/(?:services|workflows|triggers)/)[A-Za-z0-9+/_\-]{20,})",
               R"(\1[hidden key])"},
    SecretRule{"xox", LUMBRO_EDGE R"(xox[cde][-.][A-Za-z0-9.\-]{10,})", key},
    SecretRule{"xapp-", LUMBRO_EDGE R"(xapp-[0-9A-Za-z\-]{20,})", key},
    SecretRule{"/api/webhooks/", R"((discord(?:app)?\.com/api/webhooks/\d+/)[A-Za-z0-9_\-]{40,})",
               R"(\1[hidden key])"},
    SecretRule{":aa", R"((?<![A-Za-z0-9])\d{8,10}:AA[A-Za-z0-9_\-]{33}(?![A-Za-z0-9_\-]))", key},
    SecretRule{"SG.", LUMBRO_EDGE R"(SG\.[A-Za-z0-9_\-]{16,32}\.[A-Za-z0-9_\-]{16,64})", key},
    SecretRule{"SK", LUMBRO_EDGE R"(SK[0-9a-f]{32}(?![0-9A-Za-z]))", key},
    SecretRule{"key-", R"((?<![A-Za-z0-9_\-])key-[0-9a-f]{32}(?![0-9A-Za-z]))", key},
    SecretRule{"-us", LUMBRO_EDGE R"([0-9a-f]{32}-us\d{1,2}(?![0-9A-Za-z]))", key},
    SecretRule{"xkeysib-", R"(xkeysib-[a-f0-9]{64}-[A-Za-z0-9]{16})", key},
    SecretRule{"re_", LUMBRO_EDGE R"(re_[A-Za-z0-9]{8}_[A-Za-z0-9]{24}(?![0-9A-Za-z]))", key},

    // Notes, tasks and drawings.
    SecretRule{"lin_", LUMBRO_EDGE R"(lin_(?:api|oauth)_[A-Za-z0-9]{32,})", key},
    SecretRule{"ntn_", LUMBRO_EDGE R"(ntn_[A-Za-z0-9]{40,})", key},
    SecretRule{"secret_", LUMBRO_EDGE R"(secret_[A-Za-z0-9]{43}(?![0-9A-Za-z]))", key},
    SecretRule{"figd_", LUMBRO_EDGE R"(figd_[A-Za-z0-9_\-]{40,})", key},
    SecretRule{"pat", LUMBRO_EDGE R"(pat[A-Za-z0-9]{14}\.[a-f0-9]{64})", key},
    SecretRule{"CFPAT-", R"(CFPAT-[A-Za-z0-9_\-]{40,})", key},
    SecretRule{"sl.", LUMBRO_EDGE R"(sl\.[A-Za-z0-9_\-]{100,})", token},
    SecretRule{"sk.eyj", R"(sk\.eyJ[A-Za-z0-9_\-]{20,}\.[A-Za-z0-9_\-]{10,})", token},
    SecretRule{"ops_eyj", R"(ops_eyJ[A-Za-z0-9_\-]{60,})", token},

    // Keys of programs for encryption.
    SecretRule{"age-secret-key-1", R"(AGE-SECRET-KEY-1[0-9A-Z]{40,})", key},
    SecretRule{"privatekey", R"((PrivateKey\s*=\s*)[A-Za-z0-9+/]{42,43}=)", R"(\1[hidden key])"},
    SecretRule{"client-key-data", R"((client-key-data:\s*)[A-Za-z0-9+/=]{40,})", R"(\1[hidden key])"},

    // What stands where a password or a token stands.
    // Names and texts with a mark around them, as in "**Password:** …": with a digit, or alone on the line.
    SecretRule{
        "passw passphrase kennwort",
        R"re((?im)((?<![A-Za-z0-9])(?:pass(?:word|wd|phrase|wort)|kennwort)(?:[ \t]?\([^()\n]{0,40}\))?)re" LUMBRO_MARKED
        R"re()(?![<{(\[/~]|\$[{(]|https?:|[\w.\-]+/[\w./\-]+\b|(?:\d+-[a-z]+|[a-z]+-\d+|[a-z]+-[a-z]+|)re" LUMBRO_PLACEHOLDER
        "|" LUMBRO_NO_PASSWORD R"re()(?:[\s`*_"'.,;)]|$)))re"
        R"re((?:(?=[^\s`"']{0,200}\d)(?=[^\s`"']{0,200}[a-z])[^\s`"'(\[]{5,}[^\s`"'(\[.,;*_]|)re"
        R"re((?:(?=[^\s`"']{0,200}(?:[@#$%^&+=~]|[!?][^\s`"'.,;*_]))(?=[^\s`"']{0,200}[a-z])[^\s`"'(\[]{6,200}?|)re" LUMBRO_LETTERS
        R"re()(?=[*_]{0,3}["'`]?[.,;]?[ \t]*(?:$|[`"'|,;(]))))re",
        R"(\1[hidden])"},
    SecretRule{
        "token secret key",
        R"re((?im)((?<![A-Za-z0-9])(?:token|secret|(?:api|access|secret|auth)[ _\-]?key)(?:[ \t]?\([^()\n]{0,40}\))?)re" LUMBRO_MARKED
        R"re()(?=[A-Za-z0-9+/=_\-.~]{0,200}\d)(?:)re" LUMBRO_RUN R"re([A-Za-z0-9+/=_\-.~]{16,}+(*SKIP)|)re"
        R"re((?!base64|sha\d|utf\d|oauth|uint)(?=(?:[a-z]{0,40}\d){3})(?=\d{0,40}[a-z])[A-Za-z0-9]{8,}+)re"
        R"re((?=[*_]{0,3}["'`]?[.,;]?[ \t]*(?:$|[`"'|,;]))))re",
        R"(\1[hidden])"},
    SecretRule{
        "authorization",
        R"re((?i)(authorization["']?\s*[:=]\s*["']?(?:basic|bearer|token|apikey|digest(?!\s+\w+\s?=))\s+))re"
        R"((?![$<{\[])[^\s"',]{6,})",
        R"(\1[hidden])"},
    // With a scheme that has no rule of its own, or with none.
    SecretRule{
        "authorization",
        R"re((?i)(authorization\\*["']?\s*[:=]\s*\\*["']?(?:[a-z][\w\-]{1,24}(?:[ \t]+|=))?))re"
        R"re((?=(?:[^\d\s]{0,200}\d){2})(?:)re" LUMBRO_RUN
        R"re(|(?=[0-9a-f]{8}(?:-[0-9a-f]{4}){3}-[0-9a-f]{12}))[A-Za-z0-9._~+/=\-]{20,}+(*SKIP)(?![(\[]))re",
        R"(\1[hidden])"},
    SecretRule{"ssws", R"((?i)(\bssws\s+)[A-Za-z0-9_\-]{20,})", R"(\1[hidden])"},
    SecretRule{
        "signature=",
        R"re((?i)((?<![a-z])signature=\\*["']?)(?=[A-Za-z0-9+/=_~\-]{0,200}[\d%])[A-Za-z0-9%+/=_~\-]{40,}+(*SKIP)(?![.(\[]))re",
        R"(\1[hidden])"},
    SecretRule{"nonce=", R"re((?i)(\bdigest\b[^\n]{0,800}?\bresponse=\\*["']?)[0-9a-f]{32,64}(?![0-9a-f]))re",
               R"(\1[hidden])"},
    SecretRule{"bearer", R"((?i)\b(bearer\s+)(?=[A-Za-z0-9._~+/\-]{0,200}\d)[A-Za-z0-9._~+/=\-]{16,})",
               R"(\1[hidden])"},
    // A password with blanks, where a port or a path behind the host tells that it is one.
    SecretRule{
        "://",
        R"re((?i)(\b(?:https?|postgres(?:ql)?|mysql|mariadb|mongodb|rediss?|amqps?|mssql|sqlserver|clickhouse|)re"
        R"re(cockroachdb|jdbc:[a-z0-9:]{1,30})(?:\+[a-z0-9]{1,20})?://[^\s:/@"'<>`]{1,100}:))re"
        R"re((?!\d{1,5}[\s/?#,;)]|port\b|)re" LUMBRO_PLACEHOLDER
        R"re(@)(?:[^\s"'`@]{1,100}+[ \t]){1,4}[^\s"'`@]{0,100}(?=@[\w.\-]+(?::\d{2,5}\b|/\w)))re",
        R"(\1[hidden])"},
    SecretRule{"oracle:thin:", R"re((?i)(oracle:thin:[^\s/@"'`:]{1,100}/)[^\s@"'`/]{1,100}(?=@))re",
               R"(\1[hidden])"},
    // Up to the last "@": a password may hold one, and a slash. What follows a host is its port.
    SecretRule{
        "://",
        R"re((?<!file)(://(?:\$\{[^{}\s]{1,60}\}|<[^<>\s]{1,60}>|[^\s:/@\["'<>`]){0,100}+:)(?!(?:\d{1,5}|\{[A-Za-z_][\w.]{0,40}\}|)re" LUMBRO_PLACEHOLDER
        R"re()[/?#,;)<>]|(?:\{[A-Za-z_][\w.]{0,40}\}|)re" LUMBRO_PLACEHOLDER
        R"re()@|(?i:port)\b)(?:[^\s"'`]|["'`](?=\w)){1,200}(?=@(?!sha\d)))re",
        R"(\1[hidden])"},
    // A token in the place of the user's name.
    SecretRule{"://",
               R"((https?://)(?:(?=[A-Za-z0-9_\-]{0,200}\d)[A-Za-z0-9_\-]{20,}+|[A-Za-z0-9_\-]{32,}+))"
               R"((?=(?::[^\s/@]{0,200})?@))",
               R"(\1[hidden])"},
    SecretRule{
        "basic",
        R"((?i)(\bbasic[ \t]+)(?:[A-Za-z0-9+/]{8,}==|(?=[A-Za-z0-9+/]{0,200}\d)(?:[A-Za-z0-9+/]{8,}=|)"
        R"((?-i:(?=[a-z0-9+/]{0,200}[A-Z])(?=[A-Z0-9+/]{0,200}[a-z]))[A-Za-z0-9+/]{16,}))(?![A-Za-z0-9+/=]))",
        R"(\1[hidden])"},
    SecretRule{"_auth _password",
               R"((?<![A-Za-z0-9.])(_(?:auth|password)[ \t]*=[ \t]*["']?))"
               R"((?=[A-Za-z0-9+/_\-]{0,200}[\d=])[A-Za-z0-9+/=_\-]{8,}+(*SKIP)(?![.(\[]))",
               R"(\1[hidden])"},
    SecretRule{"curl",
               R"((\bcurl\b[^\n]{0,500}?\s(?:-u|--user)[ =]?["']?[^\s:'"$]{1,100}:)(?![$<{\[])[^\s'"]+)",
               R"(\1[hidden])"},
    SecretRule{"pwd=", R"re((?i)(;\s?pwd=)(?!/|)re" LUMBRO_PLACEHOLDER R"re((?:[;\s"']|$))[^;\s"']{4,})re",
               R"(\1[hidden])"},
    SecretRule{"machine", R"((\bmachine\s+\S+\s+login\s+\S+\s+password\s+)(?!\[)\S{4,})", R"(\1[hidden])"},
    SecretRule{"\"auth\"", R"(("auth"\s*:\s*")[A-Za-z0-9+/]{16,}={0,2}(?="))", R"(\1[hidden])"},
    // "DB_PASSWORD=…", as shells and ".env" files have it.
    SecretRule{
        "passw passphrase secret token api_key apikey _key credential",
        R"((?<=[A-Z0-9_])((?:PASSWORD|PASSWD|PASSPHRASE|SECRET|TOKEN|API_?KEY|)"
        R"((?:ACCESS|PRIVATE|SECRET|ENCRYPTION|ADMIN|MASTER|SIGNING|FERNET)_KEY|CREDENTIALS?)\s?[=:]\s?["']?))"
        R"((?![$<{(/\[\s]|~/)(?!\d+\b)(?!undefined|process\.|os\.|env\.)[^\s"'`]{6,})",
        R"(\1[hidden])"},
    // "dbPassword": "…", as code and JSON have it.
    SecretRule{"passw passphrase secret apikey api_key api-key privatekey private_key private-key accesskey "
               "access_key "
               "access-key",
               R"((?i)((?:api[_\-]?key|secret|password|passwd|passphrase|private[_\-]?key|)"
               R"(access[_\-]?key|secret[_\-]?key)\\*["']?\s*(?:=>|:=|[:=])\s*(\\*["'`])))"
               R"re((?![<{\[]|\$[{(]|)re" LUMBRO_PLACEHOLDER R"re(\2)(?:(?!\2)[^"`\s]){6,}(?=\2))re",
               R"(\1[hidden])"},
    SecretRule{"token",
               R"((?i)(token\\*["']?\s*(?:=>|:=|[:=])\s*(\\*["'`])))"
               R"((?=[^"'`\s]{0,200}\d)(?![$<{\[])[^"'`\s]{8,}(?=\2))",
               R"(\1[hidden])"},
    // authToken=…, without quotes: long, with a digit, and no call or member of something.
    SecretRule{
        "token key secret",
        R"((?i)((?:auth|access|refresh|bearer|api|id|session|secret|private|client)[_\-]?(?:token|key|secret))"
        R"(\s*[:=]\s*)(?=[A-Za-z0-9+/=_\-]{0,200}\d)[A-Za-z0-9+/=_\-]{16,}+(*SKIP)(?![A-Za-z0-9.(\[]))",
        R"(\1[hidden])"},
    // client_secret: …, SECRET_KEY=…, shorter, with letters and a digit.
    SecretRule{
        "secret",
        R"((?i)((?:(?:client|session|app|consumer|signing|shared|webhook|jwt|oauth|cookie)[_\-]?)"
        R"(secret(?:[_\-]?key)?|secret[_\-]?key)\s*[:=]\s*))"
        R"((?=[A-Za-z0-9+/=_\-]{0,200}\d)(?=[A-Za-z0-9+/=_\-]{0,200}[A-Za-z])[A-Za-z0-9+/=_\-]{8,}+(*SKIP)(?![.(\[]))",
        R"(\1[hidden])"},
    SecretRule{"mysql mariadb",
               R"((\b(?:mysql|mariadb)(?:-?dump|-?admin|-?import)?[ \t]+-(?:[^\n|;&]{0,300}?[ \t]-)?p["']?))"
               R"((?![$<{\[])[^\s"']{3,})",
               R"(\1[hidden])"},
    SecretRule{"sshpass", R"((\bsshpass[ \t]+(?:-[a-z]+[ \t]+){0,4}-p[ \t]*["']?)(?![$<{\[])[^\s"']{3,})",
               R"(\1[hidden])"},
    // A bot's token begins with its number in base64.
    SecretRule{"MD MT Mj Mz ND NT Nj Nz OD OT Oj Oz",
               R"((?<![A-Za-z0-9_\-.])[MNO][DTjz][A-Za-z0-9]{21,27}\.[A-Za-z0-9_\-]{6}\.)"
               R"([A-Za-z0-9_\-]{27,40}(?![A-Za-z0-9_\-.]))",
               token},
    // All long values of a line of cookies.
    SecretRule{
        "cookie",
        R"((?i)((?:\bcookie["']?:[ \t]*["']?|(?!^)\G;[ \t]*)(?:[^\s;="']{1,80}=[^\s;"']{0,15};[ \t]*){0,20})"
        R"([^\s;="']{1,80}=)[^\s;"']{16,})",
        R"(\1[hidden])"},
    // Several words to the end of the line, or one with a digit.
    SecretRule{
        "passphrase pass-phrase pass_phrase",
        R"((?im)(\bpass[_\-]?phrase[*_]{0,3}[ \t]*[:=][*_]{0,3}[ \t]*)(?![$<{\["'`(*_])(?!(?:string|str|bytes|null|)"
        R"(none)\b)(?:(?![^\n]{0,200}?\b(?:the|an?|is|are|was|if|when|it|you|your|must|should|can|may|will|not|no|)"
        R"(never|see|ask|leave|empty|optional|required|for|please|then|set|reset|forgotten|unknown|vault)\b))"
        R"([^\s()=;{}]{1,100}+[ \t]+[^\n()=;{}]{1,300}+$|(?=[^\s()]{0,200}\d)[^\s()=;{}.]{6,}))",
        R"(\1[hidden])"},
    // To the end of the line: four words or more, or fewer of which the first has been hidden as a password.
    // None is
    // one that sentences about passwords have.
    SecretRule{
        "password passwd passwort",
        R"((?im)(\bpass(?:word|wd|wort)[ \t]*[:=][ \t]*)(?=\[hidden\][ \t]|[A-Za-z0-9]{1,24}[ \t])(?![^\n]{0,200}?\b(?:the|an?|is|are|was|be|must|should|)"
        R"(shall|can|cannot|may|will|would|could|needs?|has|have|had|do|does|did|not|no|never|none|see|ask|same|)"
        R"(field|login|reset|required?|optional|minimum|at|least|characters?|set|empty|missing|wrong|invalid|)"
        R"(too|uses?|using|when|if|only|please|then|from|for|with|without|to|in|on|of|and|or|by|as|it|we|you)\b))"
        R"((?:\[hidden\](?:[ \t]+[A-Za-z0-9]{1,24}){1,12}|[A-Za-z0-9]{1,24}(?:[ \t]+[A-Za-z0-9]{1,24}){3,12})[ \t]*$)",
        R"(\1[hidden])"},

    // What is left of a password in which a key was found: too short to be one by itself.
    SecretRule{
        "password passwd passwort secret token",
        R"((?i)(\b(?:pass(?:word|wd|wort)|secret|token)\s*[:=]\s*)[^\s"']{1,5}(?=''[\x{e0f1}\x{e0f2}]''))",
        R"(\1[hidden])"},

    // Names that are short or hold a blank; what follows has letters and digits.
    SecretRule{"_pass= _pwd= _pw=",
               R"((?<=[A-Z0-9])(_(?:PASS|PWD|PW)=["']?)(?![$<{(/~.\[])(?!(?i:true|false|null|none)\b))"
               R"([^\s"'`]{4,})",
               R"(\1[hidden])"},
    SecretRule{"_pass _pwd _pw",
               R"((?i)((?<=[a-z0-9])_(?:pass|pwd|pw)["']?[ \t]*[:=][ \t]*["']?)(?=[^\s"'`]{0,200}[A-Za-z]))"
               R"((?=[^\s"'`]{0,200}\d)(?![$<{(/~.\[])[^\s"'`(),;.]{6,}+(*SKIP)(?![(.]))",
               R"(\1[hidden])"},
    SecretRule{"pw: pw= pwd: pwd= pass= passwort kennwort",
               R"((?i)(\b(?:pwd?|passwort|kennwort|pass(?==))[:=][ \t]*["']?)(?![$<{(/~.\[]|[A-Z]:\\))"
               R"((?=[^\s"'`]{0,200}[A-Za-z])(?=[^\s"'`]{0,200}[\d!@#$%^*+])[^\s"'`(),;]{6,})",
               R"(\1[hidden])"},
    SecretRule{"key",
               R"((?i)(\b(?:api|access|secret|auth|encryption)[ \t]key(?:[ \t]*[:=]|[ \t]is)[ \t]*["'`]?))"
               R"((?=[A-Za-z0-9+/=_\-]{0,200}\d)(?=[+/=_\-]?(?:[A-Za-z0-9]++[+/=_\-]++){0,8}[A-Za-z0-9]{16}))"
               R"([A-Za-z0-9+/=_\-]{16,}+(*SKIP)(?![.(\[]))",
               R"(\1[hidden])"},
    // As a program is called.
    SecretRule{
        "-pass -token -secret -api",
        R"((?<![A-Za-z0-9\-])(--(?:[a-z]+-){0,3}(?:password|passwd|passphrase|pass|token|secret|api-?key))"
        R"((?:[ \t]+|=)["']?)(?![$<{(\[\-|&>@/~.]|\d>|https?:|[a-z]+=)(?=[^\s"'`]{0,200}[A-Za-z]))"
        R"((?=[^\s"'`]{0,200}[\d!#%^*])[^\s"'`]{6,})",
        R"(\1[hidden])"},
    // Elements and attributes of XML. A password of letters alone begins with a small one, as labels don't.
    SecretRule{"passw passphrase",
               R"re((?i)(<[\w.:\-]{0,60}(?:password|passwd|passphrase)(?:\s[^<>]{0,200})?>\s{0,20}))re"
               R"re((?!(?:)re" LUMBRO_PLACEHOLDER "|" LUMBRO_NO_PASSWORD
               R"re()\s{0,20}</)(?=[^<>]{0,200}[\d!@#$%^&+=?~*_]|(?-i:[a-z]))[^\s<>]{3,200}(?=\s{0,20}</))re",
               R"(\1[hidden])"},
    SecretRule{
        "secret token api key",
        R"re((?i)(<[\w.:\-]{0,60}(?:secret|token|(?:api|access|private)[_\-]?key)(?:\s[^<>]{0,200})?>\s{0,20}))re"
        R"re((?=[^<>]{0,200}\d)[A-Za-z0-9+/=_\-.:]{16,}(?=\s{0,20}</))re",
        R"(\1[hidden])"},
    SecretRule{
        "password passwd",
        R"re((?i)(\b(?:key|name)\s?=\s?(["'])[\w.:\- ]{0,60}(?:password|passwd)\2\s+value\s?=\s?(["'])))re"
        R"re((?!(?:)re" LUMBRO_PLACEHOLDER "|" LUMBRO_NO_PASSWORD
        R"re()\3)(?=[^\s"']{0,200}[\d!@#$%^&+=?~*_]|(?-i:[a-z]))[^\s"']{3,200}(?=\3))re",
        R"(\1[hidden])"},
    // Keys of services and programs that have names of their own.
    SecretRule{
        "_key -key erkey dminkey ngkey ntkey etkey",
        R"re((?i)((?:fernet|admin|master|signing|encryption|subscription|storage|account|app|application|)re"
        R"re(consumer|hmac|jwt|license|deploy)[_\-]?key\\*["']?\s*(?:=>|:=|[:=])\s*\\*["'`]?))re"
        R"re((?=[A-Za-z0-9+/_\-:]{0,200}\d)(?:base64:)?(?=[+/=_\-]?(?:[A-Za-z0-9]++[+/=_\-]++){0,8}[A-Za-z0-9]{12}))re"
        R"re([A-Za-z0-9+/=_\-]{16,}+(*SKIP)(?![.(\[:]))re",
        R"(\1[hidden])"},
    SecretRule{"secret_key_base secretkeybase",
               R"re((?i)(secret_?key_?base\\*["']?\s*(?:=>|:=|[:=])\s*\\*["'`]?))re"
               R"re((?=[A-Za-z0-9+/=_\-]{0,200}\d)[A-Za-z0-9+/=_\-]{16,}+(*SKIP)(?![.(\[]))re",
               R"(\1[hidden])"},
    // The private members of a key in JSON, wherever its kind stands.
    SecretRule{"kty", R"re((\\*"(?:d|p|q|dp|dq|qi|k)\\*"\s*:\s*\\*")[A-Za-z0-9_\-]{20,}(?=\\*"))re",
               R"(\1[hidden])"},
    // The token that stands beside the id of its account.
    SecretRule{"AC0 AC1 AC2 AC3 AC4 AC5 AC6 AC7 AC8 AC9 ACa ACb ACc ACd ACe ACf",
               LUMBRO_EDGE R"((AC[0-9a-f]{32}(?![0-9A-Za-z])[\s\S]{1,120}?(?<![0-9A-Za-z])))"
                           R"([0-9a-f]{32}(?![0-9A-Za-z]))",
               R"(\1[hidden])"},
};

static_assert(rules.size() <= mostSecretRules);

}  // namespace

std::span<const SecretRule> secretRules() {
    return rules;
}

}  // namespace lumbro
