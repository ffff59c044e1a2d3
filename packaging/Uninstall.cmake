# SPDX-FileCopyrightText: The power daemon authors
# SPDX-License-Identifier: MIT
#
# Removes the files named by the install manifests of BUILD_FOLDER, and the folders that this leaves empty. DESTDIR has to
# be what it was at the installation.
file(GLOB manifests ${BUILD_FOLDER}/install_manifest*.txt)
if(NOT manifests)
    message(FATAL_ERROR "${BUILD_FOLDER} has no install_manifest*.txt: nothing was installed from it")
endif()

foreach(manifest IN LISTS manifests)
    file(STRINGS ${manifest} files)
    foreach(name IN LISTS files)
        set(path "$ENV{DESTDIR}${name}")
        if(EXISTS "${path}" OR IS_SYMLINK "${path}")
            message(STATUS "Removing: ${path}")
            file(REMOVE "${path}")
        endif()
        if(EXISTS "${path}")
            message(FATAL_ERROR "${path} can't be removed")
        endif()
        cmake_path(GET path PARENT_PATH folder)
        while(IS_DIRECTORY "${folder}")
            file(GLOB entries "${folder}/*" "${folder}/.*")
            if(entries)
                break()
            endif()
            file(REMOVE_RECURSE "${folder}")
            cmake_path(GET folder PARENT_PATH folder)
        endwhile()
    endforeach()
    file(REMOVE ${manifest})
endforeach()
