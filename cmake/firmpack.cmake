# Firmpacks built the way their makers build them, for the tests, the
# simulated board, the benchmarks and the sample pair: one function for all.
# SPDX-License-Identifier: MIT

find_program(FPU_MKIMAGE mkimage REQUIRED)
find_program(FPU_DTC dtc REQUIRED)
find_program(FPU_MKFS_UBIFS mkfs.ubifs PATHS /usr/sbin /sbin REQUIRED)
find_program(FPU_OPENSSL openssl REQUIRED)

# Fixed timestamps, so that the same sources give the same trees.
set(FPU_FIRMPACK_EPOCH 1700000000)
# What examples/build-pair.sh takes from the environment. Dropped before a
# script runs, so that a developer's own settings never reach a build.
set(FPU_PAIR_SETTINGS OS_VERSION APP_NAME ROOTFS_VERSION APPS_VERSION BOOTLOADER_VERSION
    BOOTLOADER_SIZE ROOTFS_FILL APPS_FILL MAX_LEBS PARTITION_ID MIN_IO_SIZE LEB_SIZE KEYS KEY_NAME
    SIGN_ALGO)

# fpu_firmpack(<output> SOURCE <source> [DATA <name>:<size>...] [DEPENDS <file>...]
#              [KEYS <hint>:<rsa2048|rsa3072|rsa4096|ecdsa256>... KEY_FILE <file>]
#              [ARGUMENTS <word>...] [OUTPUTS <list variable>])
# Builds <output> from <source>, copied into a work folder first:
#   *.its  through mkimage, which computes every hash record (the tree padded
#          by 500 bytes, so that tests can change it in place);
#   *.dts  through dtc: malformed trees that mkimage would not write;
#   *.sh   a script that writes a set of firmpacks into the folder <output>,
#          with the sample pair's builder (examples/build-pair.sh), given the
#          ARGUMENTS after the folder; a stamp named after the script tells
#          that it ran.
# DATA makes files of random bytes in the work folder, which an .its takes
# with /incbin/("<name>"); they are removed once they are in the firmpack.
# With KEYS, openssl makes each key anew in a key folder as mkimage wants it
# (<hint>.key and <hint>.crt for RSA, <hint>.pem for ECDSA), mkimage signs the
# .its with them and writes their public keys into KEY_FILE, made empty first
# with room for them (Debian 12's mkimage cannot grow a key file that already
# holds an ECDSA key, and writes an ECDSA key only beside an RSA one).
# The file made (the stamp for a script) is appended to <list variable>.
function(fpu_firmpack output)
    cmake_parse_arguments(ARG "" "SOURCE;OUTPUTS;KEY_FILE" "DATA;DEPENDS;KEYS;ARGUMENTS" ${ARGN})
    get_filename_component(source ${ARG_SOURCE} ABSOLUTE)
    get_filename_component(source_name ${source} NAME)
    get_filename_component(output_name ${output} NAME)
    if(source_name MATCHES "\\.sh$")
        set(output_name ${source_name})
    endif()
    set(work ${CMAKE_CURRENT_BINARY_DIR}/firmpack-work/${output_name})
    set(epoch SOURCE_DATE_EPOCH=${FPU_FIRMPACK_EPOCH})

    get_filename_component(output_folder ${output} DIRECTORY)
    file(MAKE_DIRECTORY ${work} ${output_folder})
    set(firmpack_made ${output})
    set(data_files)
    set(commands)
    foreach(item ${ARG_DATA})
        string(REPLACE ":" ";" parts ${item})
        list(GET parts 0 data_name)
        list(GET parts 1 data_size)
        list(APPEND commands COMMAND sh -c "head -c ${data_size} /dev/urandom > ${data_name}")
        list(APPEND data_files ${work}/${data_name})
    endforeach()
    set(sign)
    set(key_commands)
    if(ARG_KEYS)
        fpu_firmpack_keys(${work}/keys ${ARG_KEY_FILE} ${ARG_KEYS})
        list(APPEND firmpack_made ${ARG_KEY_FILE})
        set(sign -k ${work}/keys -K ${ARG_KEY_FILE} -r)
    endif()
    if(source_name MATCHES "\\.its$")
        list(APPEND commands COMMAND ${CMAKE_COMMAND} -E copy ${source} ${work}/
            COMMAND ${CMAKE_COMMAND} -E env ${epoch} ${FPU_MKIMAGE} -q -D "-I dts -O dtb -p 500 -q"
                    ${sign} -f ${work}/${source_name} ${output})
    elseif(source_name MATCHES "\\.dts$")
        list(APPEND commands COMMAND ${CMAKE_COMMAND} -E copy ${source} ${work}/
            COMMAND ${FPU_DTC} -q -I dts -O dtb -o ${output} ${work}/${source_name})
    else()
        set(firmpack_made ${work}/done)
        list(TRANSFORM FPU_PAIR_SETTINGS PREPEND --unset= OUTPUT_VARIABLE unset)
        list(APPEND ARG_DEPENDS ${PROJECT_SOURCE_DIR}/examples/build-pair.sh
            ${PROJECT_SOURCE_DIR}/examples/os.its ${PROJECT_SOURCE_DIR}/examples/app.its)
        list(APPEND commands COMMAND ${CMAKE_COMMAND} -E env ${unset} ${epoch} sh ${source} ${output}
                    ${ARG_ARGUMENTS}
            COMMAND ${CMAKE_COMMAND} -E touch ${firmpack_made})
    endif()
    list(PREPEND commands ${key_commands})
    if(data_files)
        list(APPEND commands COMMAND ${CMAKE_COMMAND} -E rm -f ${data_files})
    endif()
    add_custom_command(OUTPUT ${firmpack_made} ${commands}
        WORKING_DIRECTORY ${work} DEPENDS ${source} ${ARG_DEPENDS}
        COMMENT "Building ${output_name}" VERBATIM)
    # The caller's list is read here, in the function's scope: a local of the
    # same name would hide it (firmpack_made is named so that none does).
    if(ARG_OUTPUTS)
        set(${ARG_OUTPUTS} ${${ARG_OUTPUTS}} ${firmpack_made} PARENT_SCOPE)
    endif()
endfunction()

# The commands that make the keys of fpu_firmpack, in key_commands of the caller.
function(fpu_firmpack_keys folder key_file)
    set(empty ${folder}/empty.dts)
    file(MAKE_DIRECTORY ${folder})
    file(WRITE ${empty} "/dts-v1/;\n/ {\n};\n")
    set(commands COMMAND ${FPU_DTC} -q -I dts -O dtb -p 4096 -o ${key_file} ${empty})
    foreach(key ${ARGN})
        string(REPLACE ":" ";" parts ${key})
        list(GET parts 0 hint)
        list(GET parts 1 type)
        if(type MATCHES "^rsa([0-9]+)$")
            list(APPEND commands COMMAND ${FPU_OPENSSL} genpkey -quiet -algorithm RSA
                    -pkeyopt rsa_keygen_bits:${CMAKE_MATCH_1} -out ${folder}/${hint}.key
                COMMAND ${FPU_OPENSSL} req -batch -new -x509 -subj /CN=${hint}
                    -key ${folder}/${hint}.key -out ${folder}/${hint}.crt)
        elseif(type STREQUAL "ecdsa256")
            list(APPEND commands COMMAND ${FPU_OPENSSL} genpkey -algorithm EC
                -pkeyopt ec_paramgen_curve:P-256 -out ${folder}/${hint}.pem)
        else()
            message(FATAL_ERROR "fpu_firmpack: ${key}: a key is rsa2048, rsa3072, rsa4096 or ecdsa256")
        endif()
    endforeach()
    set(key_commands ${commands} PARENT_SCOPE)
endfunction()
