# One place for the project's warning set, applied per target. Four-character
# codes (multi-character constants) are the platform's idiom, so they are allowed.
function(veneer_warnings target)
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wno-multichar>
    $<$<COMPILE_LANGUAGE:C>:-Wall -Wextra -Wno-multichar>)
endfunction()
