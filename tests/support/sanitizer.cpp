// Options of the address sanitizer for the test programs of a sanitizer build.
#if defined(__SANITIZE_ADDRESS__)
// GCC 12's runtime misreads the dynamic TLS of libraries that the GL driver loads, and
// in some programs its leak check then crashes at exit (LeakSanitizer: "Tracer caught
// signal 11" on a "DTLS" block at a bogus address). Without the tracking of
// __tls_get_addr the check runs; what that TLS holds is the driver's (suppressed anyway).
extern "C" const char* __asan_default_options() { return "intercept_tls_get_addr=0"; }
#endif
