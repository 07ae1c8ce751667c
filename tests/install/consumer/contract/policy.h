#error "a header of the program replaces one of the library"
