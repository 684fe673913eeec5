# Command-level tests of the veltrane tool. Streams come from the tool's own
# encoder; damaged files from veltrane_ivf_mangle. Fixtures order the steps.
set(CLI_DIR ${CMAKE_CURRENT_BINARY_DIR}/cli_tests)
file(MAKE_DIRECTORY ${CLI_DIR})
set(TOOL $<TARGET_FILE:veltrane_tool>)
set(MANGLE $<TARGET_FILE:veltrane_ivf_mangle>)

# veltrane_cli_test(NAME EXIT n [OUTPUT re] [OUTPUT2 re] [REJECT re] [FILE path [SIZE n]
#                   [HEX offset:hex]] [NO_FILE path] [SETUP fixture] [REQUIRES fixtures...]
#                   COMMAND args...)
function(veltrane_cli_test name)
  cmake_parse_arguments(T "" "EXIT;OUTPUT;OUTPUT2;REJECT;FILE;SIZE;HEX;NO_FILE;SETUP"
                        "REQUIRES;COMMAND" ${ARGN})
  set(defines -DEXPECT_EXIT=${T_EXIT})
  foreach(pair OUTPUT:EXPECT_OUTPUT OUTPUT2:EXPECT_OUTPUT2 REJECT:REJECT_OUTPUT FILE:EXPECT_FILE
               SIZE:EXPECT_SIZE HEX:EXPECT_HEX NO_FILE:EXPECT_NO_FILE)
    string(REPLACE ":" ";" pair "${pair}")
    list(GET pair 0 key)
    list(GET pair 1 define)
    if(DEFINED T_${key})
      list(APPEND defines "-D${define}=${T_${key}}")
    endif()
  endforeach()
  add_test(NAME tools_cli.${name}
           COMMAND ${CMAKE_COMMAND} ${defines} -P ${TOOLS_TEST_DIR}/expect_cli.cmake -- ${T_COMMAND}
           WORKING_DIRECTORY ${CLI_DIR})
  if(T_SETUP)
    set_tests_properties(tools_cli.${name} PROPERTIES FIXTURES_SETUP ${T_SETUP})
  endif()
  if(T_REQUIRES)
    set_tests_properties(tools_cli.${name} PROPERTIES FIXTURES_REQUIRED "${T_REQUIRES}")
  endif()
endfunction()

# Help and usage errors.
foreach(command decode info encode bench)
  veltrane_cli_test(help_${command} EXIT 0 OUTPUT "Usage: veltrane ${command}"
                    COMMAND ${TOOL} ${command} --help)
endforeach()
veltrane_cli_test(help_overview EXIT 0 OUTPUT "Commands:.*decode.*info.*encode.*bench"
                  COMMAND ${TOOL} --help)
veltrane_cli_test(no_command EXIT 2 OUTPUT "Usage: veltrane COMMAND" COMMAND ${TOOL})
veltrane_cli_test(unknown_command EXIT 2 OUTPUT "unknown command 'frobnicate'"
                  COMMAND ${TOOL} frobnicate)
veltrane_cli_test(unknown_option EXIT 2 OUTPUT "veltrane decode: unknown option '--bogus'"
                  COMMAND ${TOOL} decode in.ivf --bogus -o x.y4m)
veltrane_cli_test(bad_number EXIT 2 OUTPUT "--q: '40' is not a whole number from 1 to 31"
                  COMMAND ${TOOL} encode --testsrc 16x16:1 --q 40 -o x.ivf)
veltrane_cli_test(missing_input EXIT 1 OUTPUT "nothing.ivf: cannot open"
                  COMMAND ${TOOL} decode nothing.ivf -o x.y4m)

# A small clean stream: 48x32, 12 pictures, one intra picture.
veltrane_cli_test(encode_testsrc EXIT 0 OUTPUT "small.ivf: 12 frames \\(I 1, P 11, D 0\\) 48x32"
                  OUTPUT2 "PSNR Y [0-9.]+" FILE ${CLI_DIR}/small.ivf SETUP cli_small
                  COMMAND ${TOOL} encode --testsrc 48x32:12 -o small.ivf)
# Y4M: a 41-byte header line, then 12 x (6 + 48 x 32 x 3 / 2) bytes.
veltrane_cli_test(decode_y4m EXIT 0 OUTPUT "small.ivf: 12 pictures \\(I 1, P 11.*0 errors"
                  FILE ${CLI_DIR}/small.y4m SIZE 27761 REQUIRES cli_small SETUP cli_small_y4m
                  COMMAND ${TOOL} decode small.ivf -o small.y4m)
veltrane_cli_test(decode_png_frames EXIT 0 OUTPUT "5 pictures"
                  FILE ${CLI_DIR}/png_004.png HEX 25:02 NO_FILE ${CLI_DIR}/png_005.png
                  REQUIRES cli_small COMMAND ${TOOL} decode small.ivf -o png_%03d.png --frames 5)
veltrane_cli_test(decode_alpha_png EXIT 0 OUTPUT "12 pictures.*0 errors"
                  FILE ${CLI_DIR}/alpha_11.png HEX 25:06 REQUIRES cli_small
                  COMMAND ${TOOL} decode small.ivf --alpha small.ivf -o alpha_%02d.png)
veltrane_cli_test(decode_alpha_y4m EXIT 1 OUTPUT "Y4M output cannot carry alpha"
                  REQUIRES cli_small COMMAND ${TOOL} decode small.ivf --alpha small.ivf -o a.y4m)
veltrane_cli_test(decode_bad_pattern EXIT 1 OUTPUT "only %d, %0Nd or %Nd"
                  REQUIRES cli_small COMMAND ${TOOL} decode small.ivf -o f%s.png)
veltrane_cli_test(info_table EXIT 0 OUTPUT " 11 +[0-9]+ P +0 +48x32 +10 +11"
                  OUTPUT2 "12 frames \\(I 1, P 11, D 0, E 0\\), 0 errors" REQUIRES cli_small
                  COMMAND ${TOOL} info small.ivf)
veltrane_cli_test(info_json_mb EXIT 0
                  OUTPUT "\\{\"frame\":0,\"bytes\":[0-9]+,\"type\":\"I\".*\"mb_intra\":6,"
                  OUTPUT2 "\"frame\":11,.*\"mb_skipped\":[0-9]+" REJECT "error"
                  REQUIRES cli_small COMMAND ${TOOL} info small.ivf --json --mb)
veltrane_cli_test(bench_runs EXIT 0 OUTPUT "decode only: +2 passes, 24 pictures"
                  OUTPUT2 "decode \\+ BGRA: +2 passes, 24 pictures.*pictures/s.*MP/s"
                  REQUIRES cli_small COMMAND ${TOOL} bench small.ivf --runs 2)
veltrane_cli_test(encode_from_y4m EXIT 0 OUTPUT "12 frames \\(I 12, P 0, D 0\\) 48x32"
                  REQUIRES cli_small_y4m
                  COMMAND ${TOOL} encode small.y4m -o again.ivf --gop 1 --q 4 --version 1)

# Odd sizes, version 1, disposable pictures and four-vector macroblocks off.
veltrane_cli_test(encode_odd EXIT 0 OUTPUT "7 frames \\(I 2, P 3, D 2\\) 42x26" SETUP cli_odd
                  COMMAND ${TOOL} encode --testsrc 42x26:9 --frames 7 --gop 4 --disposable
                          --version 1 --no-4mv -o odd.ivf)
veltrane_cli_test(decode_odd EXIT 0 OUTPUT "7 pictures \\(I 2, P 3, D 2" REQUIRES cli_odd
                  FILE ${CLI_DIR}/odd.y4m SIZE 11549 COMMAND ${TOOL} decode odd.ivf -o odd.y4m)

# A frame damaged in its macroblock layer: reported, repeated, the rest decoded.
veltrane_cli_test(make_corrupt EXIT 0 REQUIRES cli_small SETUP cli_bad
                  COMMAND ${MANGLE} corrupt small.ivf bad.ivf 5)
veltrane_cli_test(decode_corrupt EXIT 0 OUTPUT "veltrane: bad.ivf: frame 5: "
                  OUTPUT2 "12 pictures .*1 error, 1 repeated" FILE ${CLI_DIR}/bad.y4m SIZE 27761
                  REQUIRES cli_bad COMMAND ${TOOL} decode bad.ivf -o bad.y4m)
veltrane_cli_test(decode_corrupt_strict EXIT 1 OUTPUT "veltrane: bad.ivf: frame 5: "
                  OUTPUT2 "5 pictures .*1 error" FILE ${CLI_DIR}/strict.y4m SIZE 11591
                  REQUIRES cli_bad COMMAND ${TOOL} decode bad.ivf -o strict.y4m --strict)
veltrane_cli_test(info_corrupt EXIT 0 OUTPUT " 5 +[0-9]+ P .*error: macroblock layer"
                  REQUIRES cli_bad COMMAND ${TOOL} info bad.ivf --mb)

# A file cut inside its last frame: everything before it is kept.
veltrane_cli_test(make_truncated EXIT 0 REQUIRES cli_small SETUP cli_cut
                  COMMAND ${MANGLE} truncate small.ivf cut.ivf -10)
veltrane_cli_test(decode_truncated EXIT 1 OUTPUT "cut.ivf: frame 11: truncated: frame of"
                  OUTPUT2 "11 pictures" FILE ${CLI_DIR}/cut.y4m SIZE 25451 REQUIRES cli_cut
                  COMMAND ${TOOL} decode cut.ivf -o cut.y4m)
veltrane_cli_test(info_truncated EXIT 1 OUTPUT "cut.ivf: frame 11: truncated" REQUIRES cli_cut
                  COMMAND ${TOOL} info cut.ivf)

# A stream whose picture size changes after frame 11: the session is reopened.
veltrane_cli_test(encode_square EXIT 0 SETUP cli_square
                  COMMAND ${TOOL} encode --testsrc 32x32:4 -o square.ivf)
veltrane_cli_test(make_size_change EXIT 0 REQUIRES cli_small cli_square SETUP cli_mixed
                  COMMAND ${MANGLE} concat small.ivf square.ivf mixed.ivf)
veltrane_cli_test(decode_size_change_png EXIT 0 OUTPUT "16 pictures \\(I 2, P 14.*0 errors"
                  FILE ${CLI_DIR}/mixed_15.png REQUIRES cli_mixed
                  COMMAND ${TOOL} decode mixed.ivf -o mixed_%02d.png)
veltrane_cli_test(decode_size_change_y4m EXIT 1 OUTPUT "frame 12: picture size changes to 32x32"
                  OUTPUT2 "12 pictures" REQUIRES cli_mixed
                  COMMAND ${TOOL} decode mixed.ivf -o mixed.y4m)
veltrane_cli_test(decode_alpha_mismatch EXIT 1
                  OUTPUT "square.ivf: frame 0: alpha picture 32x32 does not match"
                  OUTPUT2 "square.ivf: frame 4: alpha stream ends before the colour stream"
                  REQUIRES cli_small cli_square
                  COMMAND ${TOOL} decode small.ivf --alpha square.ivf -o mis_%02d.png)
