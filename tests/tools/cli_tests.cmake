# Command-level tests of the veltrane tool. Streams come from the tool's own
# encoder; damaged files from veltrane_ivf_mangle. Fixtures order the steps.
set(CLI_DIR ${CMAKE_CURRENT_BINARY_DIR}/cli_tests)
file(MAKE_DIRECTORY ${CLI_DIR})
set(TOOL $<TARGET_FILE:veltrane_tool>)
set(MANGLE $<TARGET_FILE:veltrane_ivf_mangle>)
set(SH bash -o pipefail -c)

# veltrane_cli_test(NAME EXIT n [OUTPUT re] [OUTPUT2 re] [REJECT re] [FILE path [SIZE n]
#                   [HEX offset:hex]] [NO_FILE path[,path...]] [SETUP fixture]
#                   [REQUIRES fixtures...] COMMAND args...)
# Pipelines run as COMMAND ${SH} "script": bash with pipefail, in the test directory.
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
                  COMMAND ${TOOL} decode -o small.y4m -- small.ivf)
veltrane_cli_test(decode_png_frames EXIT 0 OUTPUT "5 pictures"
                  FILE ${CLI_DIR}/png_004.png HEX 25:02 NO_FILE ${CLI_DIR}/png_005.png
                  REQUIRES cli_small COMMAND ${TOOL} decode small.ivf -o png_%03d.png --frames=5)
# A pattern with a literal percent sign and a number padded with blanks.
veltrane_cli_test(decode_png_pattern EXIT 0 OUTPUT "1 picture" FILE "${CLI_DIR}/100%_  0.png"
                  REQUIRES cli_small COMMAND ${TOOL} decode small.ivf -o "100%%_%3d.png" --frames 1)
veltrane_cli_test(decode_alpha_png EXIT 0 OUTPUT "12 pictures.*0 errors"
                  FILE ${CLI_DIR}/alpha_11.png HEX 25:06 REQUIRES cli_small
                  COMMAND ${TOOL} decode small.ivf --alpha small.ivf -o alpha_%02d.png)
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
veltrane_cli_test(decode_corrupt EXIT 1 OUTPUT "veltrane: bad.ivf: frame 5: "
                  OUTPUT2 "12 pictures .*1 error, 1 repeated" FILE ${CLI_DIR}/bad.y4m SIZE 27761
                  REQUIRES cli_bad COMMAND ${TOOL} decode bad.ivf -o bad.y4m)
veltrane_cli_test(decode_corrupt_strict EXIT 1 OUTPUT "veltrane: bad.ivf: frame 5: "
                  OUTPUT2 "5 pictures .*1 error" FILE ${CLI_DIR}/strict.y4m SIZE 11591
                  REQUIRES cli_bad COMMAND ${TOOL} decode bad.ivf -o strict.y4m --strict)
veltrane_cli_test(info_corrupt EXIT 1 OUTPUT " 5 +[0-9]+ P .*error: macroblock layer"
                  REQUIRES cli_bad COMMAND ${TOOL} info bad.ivf --mb)
veltrane_cli_test(make_header_cut EXIT 0 REQUIRES cli_small SETUP cli_header_cut
                  COMMAND ${MANGLE} cut small.ivf header_cut.ivf 4)
veltrane_cli_test(info_header_cut EXIT 1 OUTPUT " 4 +5 .*picture header cut short"
                  REQUIRES cli_header_cut COMMAND ${TOOL} info header_cut.ivf)

# A file cut inside its last frame: everything before it is kept.
veltrane_cli_test(make_truncated EXIT 0 REQUIRES cli_small SETUP cli_cut
                  COMMAND ${SH} "head -c -10 small.ivf > cut.ivf")
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

# Usage errors exit with 2 before any file is opened (in.ivf does not exist),
# contradictions included.
foreach(case
    "no_output|missing -o OUT \\(or --md5\\)|decode in.ivf"
    "output_kind|must end in .y4m or .yuv|decode in.ivf -o out.mp4"
    "pattern_without_number|has no %d for the picture number|decode in.ivf -o frame.png"
    "pattern_conversion|only %d, %0Nd or %Nd|decode in.ivf -o a%s.png"
    "pattern_two_numbers|'%d_%d.png' has more than one % conversion|decode in.ivf -o %d_%d.png"
    "pattern_width|'%099d.png': field width too large|decode in.ivf -o %099d.png"
    "alpha_in_y4m|--alpha needs PNG output|decode in.ivf --alpha in.ivf -o a.y4m"
    "i420_in_y4m|--i420 contradicts the Y4M output 'a.y4m'|decode in.ivf --i420 -o a.y4m"
    "md5_with_stdout|--md5 prints on stdout|decode in.ivf --md5 -o -"
    "frames_and_limit|--frames and --limit|decode in.ivf --frames 2 --limit 2 -o a.y4m"
    "option_twice|option '--output' given twice|decode in.ivf -o a.y4m -o b.y4m"
    "option_value|option '--strict' takes no value|decode in.ivf --strict=1 -o a.y4m"
    "option_without_value|option '-o' needs a value|decode in.ivf -o"
    "testsrc_size|--testsrc: expected WxH:FRAMES|encode --testsrc 0x16:1 -o a.ivf"
    "testsrc_size_twice|--testsrc: expected WxH:FRAMES|encode --testsrc 4x4x4:1 -o a.ivf"
    "stdin_twice|stdin can feed IN or --alpha|decode - --alpha - -o a%d.png"
    "q_and_bitrate|--q sets a fixed quantiser|encode in.y4m --q 5 --bitrate 90000 -o a.ivf"
    "seconds_and_runs|--seconds and --runs|bench in.ivf --seconds 1 --runs 2"
    "help_unknown_command|unknown command 'frobnicate'|help frobnicate")
  string(REPLACE "|" ";" case "${case}")
  list(GET case 0 name)
  list(GET case 1 message)
  list(GET case 2 arguments)
  separate_arguments(arguments UNIX_COMMAND "${arguments}")
  veltrane_cli_test(usage_${name} EXIT 2 OUTPUT "${message}" COMMAND ${TOOL} ${arguments})
endforeach()
veltrane_cli_test(help_command EXIT 0 OUTPUT "^Usage: veltrane decode.*--md5"
                  COMMAND ${TOOL} help decode)
veltrane_cli_test(version EXIT 0 OUTPUT "^veltrane [0-9]+\\.[0-9]+\\.[0-9]+\n$"
                  COMMAND ${TOOL} --version)

# Pipelines: stdin, FIFOs and stdout, with messages and summaries kept out of the data.
veltrane_cli_test(decode_to_stdout EXIT 0 OUTPUT "^27761\n$" REQUIRES cli_small
                  COMMAND ${SH} "${TOOL} decode small.ivf -o - -q | wc -c")
veltrane_cli_test(decode_from_stdin EXIT 0 OUTPUT "^stdin: 12 pictures .*0 errors"
                  FILE ${CLI_DIR}/stdin.y4m SIZE 27761 REQUIRES cli_small
                  COMMAND ${SH} "rm -f stdin.y4m && cat small.ivf | ${TOOL} decode - -o stdin.y4m")
veltrane_cli_test(decode_from_fifo EXIT 0 OUTPUT "^/dev/fd/[0-9]+: 12 pictures .*0 errors"
                  FILE ${CLI_DIR}/fifo.yuv SIZE 27648 REQUIRES cli_small
                  COMMAND ${SH} "rm -f fifo.yuv && ${TOOL} decode <(cat small.ivf) -o fifo.yuv")
veltrane_cli_test(decode_truncated_stdin EXIT 1
                  OUTPUT "stdin: frame 11: truncated: frame of [0-9]+ bytes, only [0-9]+ left"
                  OUTPUT2 "^25451\n" REQUIRES cli_small
                  COMMAND ${SH} "head -c -10 small.ivf | ${TOOL} decode - -o - -q | wc -c")
# The MD5 is that of the raw output; with --skip and --limit, of just those pictures.
veltrane_cli_test(md5_of_raw_output EXIT 0 OUTPUT "^[0-9a-f]+  small.ivf\n$" REQUIRES cli_small
                  COMMAND ${SH} "${TOOL} decode small.ivf -o all.yuv -q && md5sum < all.yuv | cut -c1-32 > a.md5 &&
                                 ${TOOL} decode small.ivf --md5 -q | tee all.md5 | cut -c1-32 | cmp - a.md5 &&
                                 dd if=all.yuv bs=2304 skip=3 count=2 status=none | md5sum | cut -c1-32 > b.md5 &&
                                 ${TOOL} decode small.ivf --md5 --skip 3 --limit 2 -q | cut -c1-32 | cmp - b.md5 &&
                                 cat all.md5")
veltrane_cli_test(decode_skip_limit_png EXIT 0 OUTPUT "2 pictures" FILE ${CLI_DIR}/sl_04.png
                  NO_FILE ${CLI_DIR}/sl_02.png,${CLI_DIR}/sl_05.png REQUIRES cli_small
                  COMMAND ${SH} "rm -f sl_*.png && ${TOOL} decode small.ivf -o sl_%02d.png --skip 3 --limit 2")
veltrane_cli_test(encode_to_stdout EXIT 0 OUTPUT "stdout: 5 frames \\(I 1, P 4"
                  OUTPUT2 "stdin: 5 pictures \\(I 1, P 4.*0 errors" FILE ${CLI_DIR}/piped.y4m SIZE 11591
                  COMMAND ${SH} "${TOOL} encode --testsrc 48x32:5 -o - | ${TOOL} decode - -o piped.y4m")
# Through a pipe the frame count stays 0 ("not known"); -v lines go to stderr.
veltrane_cli_test(encode_dev_stdout_pipe EXIT 0 OUTPUT "frame +4 +P"
                  OUTPUT2 "5 frames \\(I 1, P 4, D 0, E 0\\), 0 errors" FILE ${CLI_DIR}/devout.ivf
                  HEX 24:00000000
                  COMMAND ${SH} "${TOOL} encode --testsrc 48x32:5 -v -o /dev/stdout | cat > devout.ivf &&
                                 ${TOOL} info devout.ivf")
# Into a file that stdout opened at an offset, the count goes into the header there.
veltrane_cli_test(encode_stdout_at_offset EXIT 0 FILE ${CLI_DIR}/offset.ivf HEX 27:02000000
                  COMMAND ${SH} "{ printf abc && ${TOOL} encode --testsrc 16x16:2 -q -o -
                                 } > offset.ivf")
veltrane_cli_test(encode_from_stdin EXIT 0 OUTPUT "12 frames \\(I 1, P 11, D 0\\) 48x32"
                  REQUIRES cli_small_y4m COMMAND ${SH} "cat small.y4m | ${TOOL} encode - -o stdin.ivf")

# Files whose every frame fails: status 1; black pictures of the header's size
# only when the decoder could open that size at all. The 60000x60000 header
# once cost 5.4 GB of Y4M and 14 GB of memory.
veltrane_cli_test(make_garbage EXIT 0 SETUP cli_garbage
                  COMMAND ${SH} "${MANGLE} garbage garbage.ivf 48x32 3 &&
                                 ${MANGLE} garbage huge.ivf 60000x60000 3 &&
                                 ${MANGLE} garbage max.ivf 4096x4096 1")
veltrane_cli_test(decode_all_frames_fail EXIT 1 OUTPUT "garbage.ivf: frame 2: invalid data"
                  OUTPUT2 "3 pictures .*3 errors, 3 repeated" FILE ${CLI_DIR}/garbage.y4m SIZE 6971
                  REQUIRES cli_garbage COMMAND ${TOOL} decode garbage.ivf -o garbage.y4m)
# The largest black picture: one 4096x4096 picture in Y4M.
veltrane_cli_test(decode_max_header EXIT 1 OUTPUT "^25165875\n" REQUIRES cli_garbage
                  COMMAND ${SH} "${TOOL} decode max.ivf -o - -q | wc -c")
foreach(output huge.y4m huge_%d.png)
  string(REPLACE "%d" "0" written ${output})
  set(run "rm -f ${written} && ${TOOL} decode huge.ivf -o ${output}")
  if(NOT VELTRANE_SANITIZE)
    set(run "ulimit -v 600000 && ${run}")  # sanitizers reserve terabytes of address space
  endif()
  veltrane_cli_test(decode_huge_header_${written} EXIT 1
                    OUTPUT "huge.ivf: frame 0: .*no picture written for it .*60000x60000"
                    OUTPUT2 "0 pictures .*3 errors" NO_FILE ${CLI_DIR}/${written}
                    REQUIRES cli_garbage COMMAND ${SH} "${run}")
endforeach()

add_test(NAME tools_cli.options_documented
         COMMAND ${CMAKE_COMMAND} -DTOOL=${TOOL} -DMAN_PAGE=${PROJECT_SOURCE_DIR}/tools/veltrane.1
                 -DREADME=${PROJECT_SOURCE_DIR}/README.md
                 -P ${TOOLS_TEST_DIR}/check_documented_options.cmake)
