package com.zelvox.qorbetta;

import java.io.ByteArrayInputStream;
import java.io.File;
import java.io.IOException;
import java.io.InputStream;
import java.net.JarURLConnection;
import java.net.URI;
import java.net.URISyntaxException;
import java.net.URL;
import java.net.URLConnection;
import java.net.URLStreamHandler;
import java.security.CodeSigner;
import java.security.CodeSource;
import java.security.SecureClassLoader;
import java.util.ArrayList;
import java.util.Collections;
import java.util.Enumeration;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Set;
import java.util.jar.Attributes;
import java.util.jar.JarFile;
import java.util.jar.Manifest;

/**
 * The classes and resources of some jars as they were when they were read. All of it is in memory:
 * whoever overwrites, replaces or deletes a jar disturbs nobody who uses its content, and Java's
 * caches of open jars, which go by file name and time, have no part in it.
 */
final class JarLoader extends SecureClassLoader {
    private static final int JAVA = // 1 for Java 8, whose version is 1.8
            (int) Double.parseDouble(System.getProperty("java.specification.version"));

    private final List<Jar> jars = new ArrayList<>();

    /** Has the host's classes and sees them before those of its jars. */
    JarLoader() {
        super(JarLoader.class.getClassLoader());
    }

    /**
     * Adds a jar, in which names are looked up after those before it.
     *
     * @param file where it lies, or lay
     * @param bytes what stands in it
     */
    void add(File file, byte[] bytes) throws IOException {
        jars.add(new Jar(file.toURI().toURL(), new Archive(bytes)));
    }

    /** The names of all that the jars hold. */
    Set<String> names() {
        Set<String> names = new LinkedHashSet<>();
        for (Jar jar : jars) {
            names.addAll(jar.archive.names());
        }
        return names;
    }

    @Override
    protected Class<?> findClass(String name) throws ClassNotFoundException {
        String file = name.replace('.', '/') + ".class";
        for (Jar jar : jars) {
            String entry = jar.entry(file);
            if (entry != null) {
                return define(name, jar, entry);
            }
        }
        throw new ClassNotFoundException(name);
    }

    @Override
    protected URL findResource(String name) {
        Enumeration<URL> found = findResources(name);
        return found.hasMoreElements() ? found.nextElement() : null;
    }

    @Override
    protected Enumeration<URL> findResources(String name) {
        List<URL> found = new ArrayList<>();
        for (Jar jar : jars) {
            String entry = jar.entry(name);
            if (entry != null) {
                found.add(jar.url(entry));
            }
        }
        return Collections.enumeration(found);
    }

    private Class<?> define(String name, Jar jar, String entry) throws ClassNotFoundException {
        byte[] content;
        try {
            content = jar.archive.content(entry);
        } catch (IOException e) {
            throw new ClassNotFoundException(name + " (" + e.getMessage() + ")", e);
        }
        String inPackage = name.substring(0, Math.max(name.lastIndexOf('.'), 0));
        if (!inPackage.isEmpty() && getPackage(inPackage) == null) {
            definePackage(inPackage,
                    jar.about.getValue(Attributes.Name.SPECIFICATION_TITLE),
                    jar.about.getValue(Attributes.Name.SPECIFICATION_VERSION),
                    jar.about.getValue(Attributes.Name.SPECIFICATION_VENDOR),
                    jar.about.getValue(Attributes.Name.IMPLEMENTATION_TITLE),
                    jar.about.getValue(Attributes.Name.IMPLEMENTATION_VERSION),
                    jar.about.getValue(Attributes.Name.IMPLEMENTATION_VENDOR), null);
        }
        return defineClass(name, content, 0, content.length,
                new CodeSource(jar.location, (CodeSigner[]) null));
    }

    /** One jar, which leads those who follow its URLs to the content in memory. */
    private static final class Jar extends URLStreamHandler {
        private final URL location;
        private final Archive archive;
        private final Attributes about;

        Jar(URL location, Archive archive) throws IOException {
            this.location = location;
            this.archive = archive;
            Manifest manifest = new Manifest();
            if (archive.names().contains(JarFile.MANIFEST_NAME)) {
                manifest.read(new ByteArrayInputStream(archive.content(JarFile.MANIFEST_NAME)));
            }
            about = manifest.getMainAttributes();
        }

        /** The entry for a name in this version of Java; null when there is none. */
        String entry(String name) {
            if ("true".equalsIgnoreCase(about.getValue("Multi-Release"))) {
                for (int version = JAVA; version > 8; version--) {
                    String entry = "META-INF/versions/" + version + "/" + name;
                    if (archive.names().contains(entry)) {
                        return entry;
                    }
                }
            }
            return archive.names().contains(name) ? name : null;
        }

        /** Reads like the URL of any jar's entry. */
        URL url(String entry) {
            try {
                String escaped = new URI(null, null, "/" + entry, null).getRawPath();
                return new URL("jar", "", -1, location + "!" + escaped, this);
            } catch (IOException | URISyntaxException e) {
                throw new IllegalStateException(entry + " in " + location + " has no URL", e);
            }
        }

        @Override
        protected URLConnection openConnection(URL url) throws IOException {
            return new JarURLConnection(url) {
                @Override
                public void connect() {
                    connected = true;
                }

                @Override
                public InputStream getInputStream() throws IOException {
                    return new ByteArrayInputStream(archive.content(getEntryName()));
                }

                @Override
                public JarFile getJarFile() throws IOException {
                    return new JarFile(new File(URI.create(getJarFileURL().toString())));
                }
            };
        }
    }
}
