# The functions of the C library that wrapped_functions.cpp stands in for: the linker leads every call that the library or a
# test makes to the __wrap_ function, and gives that one the original under the name __real_.
set(USERLIB_WRAPPED_FUNCTIONS
    access
    bind
    clock_gettime
    fopen
    gettimeofday
    malloc
    open
    pipe
    read
    recvfrom
    select
    sendto
    socket
    time
    unlink
    write)
