# Command-level tests of `veltrane analyze`, and the browser test of its report.
# Included after cli_tests.cmake, whose helper, tool and directory they use.
set(PATTERN_Y4M $<TARGET_FILE:veltrane_test_pattern_y4m>)
set(SAMPLE ${PROJECT_SOURCE_DIR}/samples/testsrc.ivf)

veltrane_cli_test(help_analyze EXIT 0 OUTPUT "Usage: veltrane analyze"
                  COMMAND ${TOOL} analyze -h)
foreach(case
    "no_output|missing -o PATTERN or --report FILE.html|in.ivf"
    "overlay_name|unknown overlay 'arrows'|in.ivf -o a%d.png --overlays type,arrows"
    "overlay_kind|must end in .png or .svg|in.ivf -o a%d.jpg"
    "scale|--scale: '5' is not a whole number from 1 to 4|in.ivf -o a%d.png --scale 5")
  string(REPLACE "|" ";" case "${case}")
  list(GET case 0 name)
  list(GET case 1 message)
  list(GET case 2 arguments)
  separate_arguments(arguments UNIX_COMMAND "${arguments}")
  veltrane_cli_test(analyze_usage_${name} EXIT 2 OUTPUT "${message}"
                    COMMAND ${TOOL} analyze ${arguments})
endforeach()

# The bundled sample with the pictures it was encoded from, and a copy whose
# frames 5 (P) and 25 (intra) are damaged in their macroblock layer.
veltrane_cli_test(make_sample_source EXIT 0 FILE ${CLI_DIR}/sample_source.y4m SETUP cli_sample_source
                  COMMAND ${PATTERN_Y4M} 176x144:75 sample_source.y4m)
veltrane_cli_test(analyze_sample_report EXIT 0 OUTPUT "testsrc.ivf: 75 frames analysed, 0 failed"
                  FILE ${CLI_DIR}/sample.html REQUIRES cli_sample_source SETUP cli_sample_report
                  COMMAND ${TOOL} analyze ${SAMPLE} --report sample.html --source sample_source.y4m)
veltrane_cli_test(make_sample_damaged_5 EXIT 0 SETUP cli_sample_damaged_5
                  COMMAND ${MANGLE} corrupt ${SAMPLE} damaged_5.ivf 5)
veltrane_cli_test(make_sample_damaged EXIT 0 REQUIRES cli_sample_damaged_5 SETUP cli_sample_damaged
                  COMMAND ${MANGLE} corrupt damaged_5.ivf damaged.ivf 25)
# Macroblock statistics of a picture with intra, skipped and four-vector
# macroblocks, and of one counted only up to its damage.
veltrane_cli_test(info_damaged_statistics EXIT 1
                  OUTPUT "\n +1 +1966 P +0 +176x144 +8 +1 +2 +0 +16 +0 +7 +74 +78 +4.15\n"
                  OUTPUT2 "\n +5 +1659 P +0 +176x144 +8 +5 +0 +0 +47 +0 +4 +26 +80 +2.59  error"
                  REQUIRES cli_sample_damaged COMMAND ${TOOL} info damaged.ivf --mb)
veltrane_cli_test(analyze_damaged EXIT 1
                  OUTPUT "veltrane: damaged.ivf: frame 5: invalid data.*, from macroblock [0-9]+ of 99 on"
                  OUTPUT2 "damaged.ivf: 75 frames analysed, 2 failed, 75 overlay pictures, report"
                  FILE ${CLI_DIR}/damaged_25.svg REQUIRES cli_sample_damaged SETUP cli_damaged_report
                  COMMAND ${TOOL} analyze damaged.ivf --report damaged.html -o damaged_%02d.svg)
veltrane_cli_test(analyze_source_mismatch EXIT 1 OUTPUT "frame 0: picture 48x32 does not match"
                  OUTPUT2 "75 frames analysed, 0 failed" REQUIRES cli_small_y4m
                  COMMAND ${TOOL} analyze ${SAMPLE} --report mismatch.html --source small.y4m)

add_test(NAME tools_browser.report
         COMMAND bash ${TOOLS_TEST_DIR}/run_browser_test.sh --sample ${CLI_DIR}/sample.html
                 --damaged ${CLI_DIR}/damaged.html)
set_tests_properties(tools_browser.report PROPERTIES
                     FIXTURES_REQUIRED "cli_sample_report;cli_damaged_report"
                     SKIP_RETURN_CODE 77 TIMEOUT 1500)
