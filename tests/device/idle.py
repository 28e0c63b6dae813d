"""The idle daemons that are measured: what each is called in docs/footprint.md, and its program in /tests."""
NO_CERTIFICATES, STATIC, ALL_STATIC = "userlib with `-DUSERLIB_CERT=OFF`", "userlib, static", "userlib, all static"
PROGRAMS = {
    "does nothing": "idle_nothing",
    "does nothing, loads OpenSSL": "idle_nothing_openssl",
    "does nothing, all static": "idle_nothing_static",
    "loop by hand": "idle_loop",
    "userlib": "idle_userlib",
    NO_CERTIFICATES: "idle_userlib_nocert",
    STATIC: "idle_userlib_static",
    ALL_STATIC: "idle_userlib_all_static",
}
