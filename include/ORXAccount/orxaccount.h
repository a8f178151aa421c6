// SPDX-License-Identifier: MIT
#pragma once

// ORXAccount in C: everything that a host needs to sign users in, for programs in C and for other
// languages that call C (C++ programs have <ORXAccount/ORXAccount.h>).
//
// The order of the start: orx_set_servers() and orx_set_option() for what is not to be the default,
// orx_initialize(), which restores the user of the last launch, and orx_sign_in() unless
// orx_current_user() gives one. An observer that is to hear of the restored user is added before
// orx_initialize(). A whole program is in examples/sign_in.c, the same in Python in
// examples/sign_in.py.
//
// Text. All text is UTF-8 and ends with a zero byte. Text of the caller's that is not UTF-8 is
// refused; where a C++ part of the program has put other bytes into a record, U+FFFD stands for
// each. The library copies what it is given. Dictionaries are JSON text.
//
// Errors. Each function that can fail returns an orx_error that the caller releases, or NULL when
// it did its work. What a function itself refuses is of ORX_ERROR_DOMAIN_SYSTEM: EINVAL for a
// mistake of the caller's (a null pointer, JSON that is none, an option that there is not, no
// credentials), EILSEQ for text that is not UTF-8, ENOMEM without memory, EAGAIN where the system
// has no thread. Nothing has been done then (by orx_initialize() and orx_sign_out() part of it may
// have been, without memory), nothing was written through the pointers given, and the call may be
// made again.
//
// Callbacks. A function with a callback starts something and returns at once. When it returned
// NULL, the callback is called exactly once, on a background thread of the library (or where a C++
// part of the program has callbacks run) and never inside the call; when it returned an error,
// never. (An observer's is called at each change.) `context` is handed on as it is. Callbacks of
// different calls may run at the same time. A callback may block and may call the library. No C++
// exception and no longjmp may leave it: the process ends if one does. Like every callback of the
// library it may run on a thread on which signals are blocked.
//
// Parameters are the text of a JSON object, or NULL for an empty one; orx_json_object() writes one.
// It is read and written anew: of a number stays what 64 bits or a double hold.
// The service refuses a "&" or "<" in them, mostly without a reason (not those of OpenID V2): look
// for them in what people type.
//
// Sign-ins. Each has its own callback, and several may be under way. One that succeeds makes its
// user current and stores it; then come the observers, and then its callback, with a result that
// has that user, even if another sign-in has replaced it by then. One that fails leaves the current
// user. There is no cancellation.
//
// Owners. What is handed out through a pointer to a non-const pointer belongs to the caller, who
// releases it with the function named ..._release. What comes as a pointer to const belongs to the
// library: what a callback is given ends when the callback returns, and the texts of a handle end
// with the handle. NULL may be released and asked for its texts, which are NULL.
//
// Threads. Everything may be called from any thread, except that options are set by one thread at a
// time. A handle never changes; it may be used on several threads until it is released.

#include <ORXAccount/platform/Export.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// NOLINTBEGIN(modernize-use-using): C has no other word.

// Why something failed.
typedef struct orx_error orx_error;
// What a call over the network gave, or what a function below says.
typedef struct orx_result orx_result;
// The record of a user: the fields that the service sent at the sign-in.
typedef struct orx_user orx_user;
// Keeps an observer registered.
typedef struct orx_observation orx_observation;

// Is told how something ended: a result and no error, or an error and no result (NULL).
typedef void (*orx_callback)(void* context, const orx_result* result, const orx_error* error);

// NOLINTEND(modernize-use-using)

// The code means something within the domain only; 0 is an error too.
ORX_EXPORT const char* orx_error_domain(const orx_error* error);
// 0 for NULL.
ORX_EXPORT int64_t orx_error_code(const orx_error* error);
// A text for people. Empty where the service refused without one, which it mostly does for a "&" or
// "<" in a parameter.
ORX_EXPORT const char* orx_error_text(const orx_error* error);
ORX_EXPORT void orx_error_release(orx_error* error);

// The system, or a mistake of the caller's; the code is an errno.
#define ORX_ERROR_DOMAIN_SYSTEM "NSPOSIXErrorDomain"
// The service refused; the code is one of ORX_ERROR_APP_ID and those that follow it, and for user
// data and the sign-in with a ticket the service's own result code.
#define ORX_ERROR_DOMAIN_SERVICE "com.orva.account"
// The reply did not come, or broke off; the code is ORX_ERROR_TIMED_OUT or another negative one.
#define ORX_ERROR_DOMAIN_NETWORK "NSURLErrorDomain"
// The HTTP status, which is the code, is no success; of web sessions and OpenID V2, of pictures.
#define ORX_ERROR_DOMAIN_STATUS "ORVAAccountAPIErrorDomain"
#define ORX_ERROR_DOMAIN_PICTURE "ORVAAccountUserErrorDomain"
// The answer is not the JSON, or not the XML, that the service promises.
#define ORX_ERROR_DOMAIN_JSON "NSCocoaErrorDomain"
#define ORX_ERROR_DOMAIN_XML "NSXMLParserErrorDomain"

enum {
  ORX_ERROR_APP_ID = 0,
  ORX_ERROR_APP_KEY = 1,
  ORX_ERROR_API_ID = 2,
  ORX_ERROR_ALREADY_REGISTERED = 3,
  ORX_ERROR_PASSWORD = 4,
  ORX_ERROR_PASSWORD_LENGTH = 5,  // not 8 to 25 long
  ORX_ERROR_EMAIL_FORMAT = 6,
  ORX_ERROR_OTHER = 7,
  ORX_ERROR_UNKNOWN = -1,
  ORX_ERROR_TIMED_OUT = -1001,
  ORX_ERROR_CANNOT_FIND_HOST = -1003,
  ORX_ERROR_CANNOT_CONNECT = -1004,
  ORX_ERROR_CONNECTION_LOST = -1005,  // the service may have carried the call out
  ORX_ERROR_TOO_LONG = -1103,
  ORX_ERROR_NO_SECURE_CONNECTION = -1200,
  ORX_ERROR_NOT_TRUSTED = -1202
};

// The payload as JSON text; "null" where the result has none. What JSON cannot hold is null.
ORX_EXPORT const char* orx_result_json(const orx_result* result);
// The payload's field of this name as text, or the payload itself for a `key` of NULL. NULL where
// there is none, and where it is no text, number or boolean. It ends at a zero byte within it; a
// field whose name holds one is in the JSON alone.
ORX_EXPORT const char* orx_result_text(const orx_result* result, const char* key);
// The service's own words; NULL where it said none.
ORX_EXPORT const char* orx_result_description(const orx_result* result);
// Why no list came, where the transfer failed, which is no error of the callback; else NULL. It
// ends with the result.
ORX_EXPORT const orx_error* orx_result_transfer_error(const orx_result* result);
// The bytes of a picture and, through `size`, their number; NULL and 0 where the result has none or
// the picture is empty. `size` may be NULL.
ORX_EXPORT const void* orx_result_bytes(const orx_result* result, size_t* size);
// The user of a sign-in or of a change, and the one before a change; NULL for nobody.
ORX_EXPORT const orx_user* orx_result_user(const orx_result* result);
ORX_EXPORT const orx_user* orx_result_previous_user(const orx_result* result);
ORX_EXPORT void orx_result_release(orx_result* result);

// Writes parameters as a JSON object, whatever characters are in them. `texts` holds keys and
// values by turns, and NULL at its end; orx_result_json(*object) is what the calls below take.
ORX_EXPORT orx_error* orx_json_object(const char* const* texts, orx_result** object);

// The library's version, "1.0.0" for instance.
ORX_EXPORT const char* orx_version(void);

// Sets an option; a `value` of NULL gives back its default. A call over the network takes those
// that stand when it is made.
ORX_EXPORT orx_error* orx_set_option(const char* name, const char* value);

// The host application, as "com.example.host": where its user is stored. To be set before
// orx_initialize().
#define ORX_OPTION_IDENTIFIER "identifier"
// The certificate authorities to trust, instead of the system's: a PEM file, or a directory of such
// files as `openssl rehash` prepares it.
#define ORX_OPTION_CA_FILE "caFile"
// The URL of a proxy. Empty text means none at all; the default is the one that the environment
// names.
#define ORX_OPTION_PROXY "proxy"
// The hosts that are reached without the proxy, separated by commas.
#define ORX_OPTION_PROXY_EXCEPTIONS "proxyExceptions"
// HOST=ADDRESS:PORT, several with commas: where a host is reached instead of the address that the
// resolver gives. The certificate is still checked against the host's name. Hosts that were named
// before stay, so NULL is refused.
#define ORX_OPTION_CONNECT_TO "connectTo"
// Milliseconds without any progress after which a call fails.
#define ORX_OPTION_TIMEOUT "timeout"
// Milliseconds after which a call fails though it makes progress; 7 days by default.
#define ORX_OPTION_DEADLINE "deadline"
// Bytes of an answer, and of its headers, beyond which a call fails.
#define ORX_OPTION_MAXIMUM_BODY_SIZE "maximumBodySize"
#define ORX_OPTION_MAXIMUM_HEADER_SIZE "maximumHeaderSize"
// Where the user is stored: "secret-service" (the keyring or nothing), "file", or, the default,
// "prefer-secret-service" (the file where there is no keyring). A keyring encrypts what it holds;
// in the file the user's ticket lies unencrypted, readable by the user alone.
#define ORX_OPTION_KEYCHAIN "keychain"
// "yes" lets the keyring ask the user for its password; the default is "no".
#define ORX_OPTION_KEYCHAIN_PROMPTS "keychainPrompts"
// "yes" calls the China servers; the default is "no", the global ones.
#define ORX_OPTION_CHINA "china"

// Lets the whole process call these servers instead of those that the library was built with: names
// or IPv4 addresses, with ":PORT" where that is not 443. `global_host` stands for a `china_host`
// and a `development_host` that are NULL, and the namespace that was built in for one that is. To
// be set before anything is called or initialised; others cannot be set after that.
ORX_EXPORT orx_error* orx_set_servers(const char* global_host, const char* china_host,
                                      const char* development_host, const char* service_namespace);

// Takes the application's credentials and makes the stored user current, which observers hear of on
// this thread. The credentials are not checked. `is_stage` (not 0) reports the development server
// in orx_status(), and changes nothing else. May be called again. It waits for the disk, and where
// another process or the keyring is slow up to 2 seconds for each of ten steps. A user who cannot
// be restored is no error; orx_status() says why.
ORX_EXPORT orx_error* orx_initialize(const char* app_id, const char* app_key, int is_stage);

// Connects to the server that the first call will be made to, so that it comes sooner; nothing is
// sent to it. Returns at once. What hinders it, the next call reports.
ORX_EXPORT orx_error* orx_prepare_connection(void);

// How much a line of the log matters.
enum {
  ORX_LOG_INFO = 0,     // the user is stored in a file, because no keyring takes it
  ORX_LOG_WARNING = 1,  // a transfer failed, or the service sent what it should not
  ORX_LOG_ERROR = 2     // a stored user could not be read, stored or removed
};

// Has `handler` called with each line that the library logs, instead of the one before; NULL takes
// that one away. A line is for people and holds no secret. It comes on any thread, several at a
// time, and ends with the call, which should return soon. `ended`, which may be NULL, is called
// with the context once no other line will come to it.
ORX_EXPORT orx_error* orx_set_log_handler(void (*handler)(void* context, int level,
                                                          const char* line),
                                          void* context, void (*ended)(void* context));

// Where things stand, as a dictionary of texts, numbers and booleans. Never waits.
//
//   version              of the library
//   customerInfoURL      the two endpoints; null before orx_initialize()
//   accountServiceURL
//   china                whether the China servers are called
//   keychainStore        which store holds the user, "secret-service" or "file"
//   keychainEncrypted    whether that store encrypts what it writes: a keyring does, the file not
//   keychainLocked       whether the last call found the keyring locked, or its prompt was
//   dismissed keychainError        the status of the last call; 0 when it did its work
//   keychainDescription  what happened, which file it is about, what to do about it: a sentence or
//   keychainPath         a path each, or empty text
//   keychainRemedy
ORX_EXPORT orx_error* orx_status(orx_result** status);

// The user who is signed in, and NULL when nobody is. Never waits.
ORX_EXPORT orx_error* orx_current_user(orx_user** user);

// All fields as a JSON object, as the service sent them; "null" for a record without any.
ORX_EXPORT const char* orx_user_json(const orx_user* user);
// One field as text; NULL where it is missing, or holds no text, number or boolean. ORX_COUNTRY
// gives the field "region" where "country" is missing or empty.
ORX_EXPORT const char* orx_user_text(const orx_user* user, const char* key);
// Where the picture is; NULL when the picture field makes no URL.
ORX_EXPORT const char* orx_user_picture_url(const orx_user* user);
// 1 for a user whose country is "CHN", else 0.
ORX_EXPORT int orx_user_is_china(const orx_user* user);
// A user who belongs to the caller too, to be released once more: what keeps a callback's user.
ORX_EXPORT orx_user* orx_user_retain(const orx_user* user);
ORX_EXPORT void orx_user_release(orx_user* user);

// Loads the picture, or answers from memory once it has been loaded. The result has the bytes.
// Loads of one user run one after the other.
ORX_EXPORT orx_error* orx_user_load_picture(const orx_user* user, orx_callback callback,
                                            void* context);

// Calls `callback` at every change of the current user, until the observation is released: a result
// with the user and the previous one, or an error where there was no memory to say who. It runs on
// the caller's thread in orx_initialize() and orx_sign_out(), and at a sign-in on a background
// thread, before the callback of that sign-in. `ended`, which may be NULL,
// is called with the context once no other call of `callback` will come: inside
// orx_observation_release(), or when a call that another thread is making at that moment returns.
ORX_EXPORT orx_error* orx_observe_user(orx_callback callback, void* context,
                                       void (*ended)(void* context), orx_observation** observation);
ORX_EXPORT void orx_observation_release(orx_observation* observation);

// Signs in with login name and password, under ORX_LOGIN and ORX_PASSWORD.
ORX_EXPORT orx_error* orx_sign_in(const char* parameters, orx_callback callback, void* context);
// Signs in with an identity of another provider, under ORX_OPENID_TYPE and ORX_OPENID_UID.
ORX_EXPORT orx_error* orx_sign_in_openid(const char* parameters, orx_callback callback,
                                         void* context);
// The same over the service's JSON interface, which always is the global server's.
ORX_EXPORT orx_error* orx_sign_in_openid_v2(const char* parameters, orx_callback callback,
                                            void* context);
// Signs in with a ticket issued elsewhere. Where the service answers it with data that is no XML,
// there is neither an error nor a user, and the current user stays.
ORX_EXPORT orx_error* orx_sign_in_ticket(const char* ticket, orx_callback callback, void* context);
// Signs out on this machine: nobody is current, and what is stored of the user is removed; what
// could not be, orx_status() tells. Sends nothing. Observers run on this thread. It waits for the
// stores, ten seconds at most unless the keyring shows a prompt. Nobody signed in is no error.
ORX_EXPORT orx_error* orx_sign_out(void);

// Creates an account. The payload: a dictionary with the new customer's number under ORX_CUS_ID.
ORX_EXPORT orx_error* orx_register(const char* parameters, orx_callback callback, void* context);
// Creates one for an identity of another provider over the JSON interface, which always is the
// global server's. The payload: what the service sends as its result.
ORX_EXPORT orx_error* orx_register_v2(const char* parameters, orx_callback callback, void* context);
// Any operation, by its identifier. The payload: the data of the answer, an empty dictionary when
// there was none, null when it is not JSON.
ORX_EXPORT orx_error* orx_call(const char* api_id, const char* parameters, orx_callback callback,
                               void* context);
// One of the service's lists. The payload: an array, null when it could not be had. There is no
// error for that; orx_result_transfer_error() tells a failed transfer from an answer that holds no
// list.
ORX_EXPORT orx_error* orx_fetch_list(const char* name, orx_callback callback, void* context);
#define ORX_LIST_COUNTRIES "country"
#define ORX_LIST_EDUCATION "country"  // the service keeps both under one name
#define ORX_LIST_PROFESSIONS "profession"
// The data of the user who holds a ticket. The payload: a dictionary of texts, or one text when the
// service sent no XML.
ORX_EXPORT orx_error* orx_fetch_user_data(const char* ticket, orx_callback callback, void* context);
// Opens a web session for a signed-in user. The payload: its address as text. Where the service
// refuses, the text is mostly empty, and its words are the description; there is no error for that.
ORX_EXPORT orx_error* orx_web_sso(const char* parameters, orx_callback callback, void* context);

// Keys of parameters and of a user's fields. What each operation requires is the service's
// business.
#define ORX_LOGIN "login"
#define ORX_PASSWORD "passwd"
#define ORX_FIRST_NAME "first_name"
#define ORX_LAST_NAME "last_name"
#define ORX_NICK_NAME "nick_name"
#define ORX_GENDER "title"
#define ORX_BIRTH_DATE "birthdate"
#define ORX_ADDRESS1 "addr1"
#define ORX_ADDRESS2 "addr2"
#define ORX_CITY "city"
#define ORX_STATE "state"
#define ORX_ZIP_CODE "zipcode"
#define ORX_COUNTRY "country"
#define ORX_HOME_VOICE "home_voice"
#define ORX_EDUCATION "education"
#define ORX_PROFESSIONAL "professional"
#define ORX_EMAIL "email"
#define ORX_MOBILE "mobile"
#define ORX_EDM1 "c_01"
#define ORX_LANGUAGE "language"
#define ORX_IP "ip"
#define ORX_OPENID_TYPE "openid_type"
#define ORX_OPENID_UID "openid_uid"
#define ORX_PROVISION "provision"
#define ORX_CLIENT_SID "client_sid"
#define ORX_DEVICE_SN "sn"
#define ORX_DEVICE_ID "device_id"
#define ORX_CLOUD_EDM "Cloud_edm"
#define ORX_CUS_ID "cus_id"
#define ORX_TICKET "ticket"
#define ORX_COUNTRY_ABBR "abbr"
#define ORX_LANGUAGE_ID "lang_id"
#define ORX_PROFESSION "profession"
#define ORX_PROFESSION_ID "p_id"
#define ORX_CHECK_CODE "check_code"
#define ORX_VALIDATE_CODE "validate_code"
#define ORX_PICTURE "pic"

#ifdef __cplusplus
}
#endif
