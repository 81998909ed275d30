# Sanitizer builds apply to every target of the tree, so that a race or overflow in the
# libraries is found by the tests of the code above them too.
if(TAVIRO_ASAN AND TAVIRO_TSAN)
    message(FATAL_ERROR "TAVIRO_ASAN and TAVIRO_TSAN cannot be combined")
endif()
if(TAVIRO_ASAN)
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer
                        -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
endif()
if(TAVIRO_TSAN)
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
endif()
