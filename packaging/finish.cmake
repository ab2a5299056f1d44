# CPack runs this after it has installed each component into a folder of its own and before it packages
# these folders. Adds what Debian's policy requires of every package. Every file gets the time
# SOURCE_DATE_EPOCH (seconds since 1970), so that the same source always gives the same package.

function(run)
    execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(changelog "lumivad (${version}) stable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION}. See changelog.gz for what is new.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component})
    string(TOUPPER ${component} upper)
    set(documents ${root}/usr/share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    file(WRITE ${documents}/changelog.Debian "${changelog}")
    configure_file(${CPACK_LUMIVAD_SOURCE}/CHANGELOG.md ${documents}/changelog COPYONLY)
    configure_file(${CPACK_LUMIVAD_SOURCE}/packaging/copyright ${documents}/copyright COPYONLY)
    file(GLOB manual_pages ${root}/usr/share/man/man*/*)
    run(gzip -9n ${documents}/changelog ${documents}/changelog.Debian ${manual_pages})
    run(find ${root} -exec touch --no-dereference --date @$ENV{SOURCE_DATE_EPOCH} {} +)
    run(chmod -R u=rwX,go=rX ${root})
endforeach()
