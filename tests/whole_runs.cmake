# Tests that drive the built programs, documents and package from outside, each where its tools are
# there. They say nothing about a compiler or a sanitizer: one build runs them, and the preset "clang"
# leaves out their label.
function(add_whole_run name)
    add_test(NAME ${name} COMMAND ${ARGN} WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
    set_tests_properties(${name} PROPERTIES LABELS whole_runs)
endfunction()
set(here ${CMAKE_CURRENT_SOURCE_DIR})
set(python /usr/bin/python3)

add_whole_run(includes ${here}/includes.sh)
add_whole_run(links ${python} ${here}/links.py ${CMAKE_SOURCE_DIR})
add_whole_run(textbook ${python} ${here}/textbook/compare.py $<TARGET_FILE:quilmar>)
add_whole_run(listings ${python} ${here}/textbook/listings.py $<TARGET_FILE:quilmar> ${CMAKE_SOURCE_DIR})
if(NOT TARGET quilmar-scan)
    return()
endif()
add_whole_run(completion ${here}/completion_test.sh ${CMAKE_BINARY_DIR})

# add_whole_run_with(PROGRAMS a b .. NAME name command ..): where all these programs are found.
function(add_whole_run_with)
    cmake_parse_arguments(run "" "" "PROGRAMS;NAME" ${ARGN})
    foreach(program ${run_PROGRAMS})
        find_program(found_${program} ${program})
        if(NOT found_${program})
            list(GET run_NAME 0 name)
            message(STATUS "${name} is not tested: ${program} not found")
            return()
        endif()
    endforeach()
    add_whole_run(${run_NAME})
endfunction()
add_whole_run_with(PROGRAMS dpkg-shlibdeps NAME package ${here}/package_test.sh ${CMAKE_BINARY_DIR})
add_whole_run_with(PROGRAMS snakemake plink1.9 plink2 Rscript
                   NAME recipes ${python} ${here}/recipes.py ${CMAKE_BINARY_DIR}
                        ${CMAKE_SOURCE_DIR}/docs/recipes.md ${CMAKE_SOURCE_DIR}/examples/scan)
add_whole_run_with(PROGRAMS snakemake sbatch slurmctld slurmd bgzip
                   NAME workflow ${here}/workflow/slurm_test.sh $<TARGET_FILE:quilmar-scan>)

execute_process(COMMAND ${python} -c "import matplotlib, scipy" RESULT_VARIABLE no_matplotlib
                OUTPUT_QUIET ERROR_QUIET)
if(no_matplotlib)
    message(STATUS "the pictures are not tested: python3-matplotlib or python3-scipy not found")
    return()
endif()
foreach(part pictures tables)
    add_whole_run(plot_${part} ${CMAKE_COMMAND} -E env QUILMAR_PROGRAM=$<TARGET_FILE:quilmar>
                  QUILMAR_SCAN_PROGRAM=$<TARGET_FILE:quilmar-scan> ${python} ${here}/plot/test_${part}.py)
endforeach()
