package com.zelvox.qorbetta;

import java.io.File;
import java.io.IOException;
import java.io.StringWriter;
import java.io.Writer;
import java.lang.reflect.Modifier;
import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import javax.tools.Diagnostic;
import javax.tools.DiagnosticCollector;
import javax.tools.DiagnosticListener;
import javax.tools.JavaCompiler;
import javax.tools.JavaFileObject;
import javax.tools.StandardJavaFileManager;
import javax.tools.StandardLocation;
import javax.tools.ToolProvider;

/**
 * Compiles the Java files of a model for the packer, with the compiler of the JDK whose JVM this is.
 *
 * <p>Question and answer are lists of texts as those of {@link ModelReport}. The question: the
 * version of Java to compile for or nothing for the oldest possible, the directory for the classes,
 * how many jars and directories of classes the files may use beside the JVM's class path, these, and
 * the files. The answer: a sentence that says what is wrong, or nothing. What the compiler says is
 * printed as {@code javac} does.
 */
final class ModelCompiler {
    private static final int OLDEST = 8; // which the class files of this package are made for

    private ModelCompiler() {
    }

    /** Called by the packer. Throws nothing. */
    static byte[] answer(byte[] question) {
        String problem;
        try {
            List<String> texts = Arrays.asList(
                    new String(question, StandardCharsets.UTF_8).split("\0", -1));
            int files = 3 + Integer.parseInt(texts.get(2));
            problem = "";
            for (int i = 1; problem.isEmpty() && i < texts.size() - 1; i++) {
                problem = unreadable(texts.get(i));
            }
            if (problem.isEmpty()) {
                problem = new Javac(new File(texts.get(1)), texts.subList(3, files),
                        texts.subList(files, texts.size() - 1)).compile(texts.get(0));
            }
        } catch (NoClassDefFoundError e) {
            problem = noCompiler(); // a JVM without the module java.compiler
        } catch (Throwable e) {
            problem = "the Java files cannot be compiled: " + Reason.of(e).replace('\0', ' ');
        }
        return (problem + '\0').getBytes(StandardCharsets.UTF_8);
    }

    /** Whatever stands in a source that the compiler quotes, terminals get text only. */
    private static void print(String said) {
        byte[] text = said.replaceAll("[\\p{Cc}\\p{Cf}&&[^\\n\\t]]", " ")
                .getBytes(StandardCharsets.UTF_8);
        System.err.write(text, 0, text.length);
        System.err.flush();
    }

    private static String noCompiler() {
        return "the JVM in " + System.getProperty("java.home") + " has no compiler; install"
                + " default-jdk-headless, or let JAVA_HOME name a JDK";
    }

    /** What keeps Java from reading a file as text, or nothing. */
    private static String unreadable(String file) throws IOException {
        String hint = UnitResources.localeHint(file);
        if (!hint.isEmpty()) {
            return "Java cannot open " + file + hint;
        }
        if (!file.endsWith(".java")) {
            return "";
        }
        ByteBuffer bytes = ByteBuffer.wrap(Files.readAllBytes(Paths.get(file)));
        CharBuffer text = CharBuffer.allocate(bytes.limit());
        if (StandardCharsets.UTF_8.newDecoder().decode(bytes, text, true).isUnderflow()) {
            return "";
        }
        text.flip();
        return file + " is not written in UTF-8, line " + (text.chars().filter(c -> c == '\n').count() + 1)
                + "; save it with this encoding";
    }

    /** Apart from the rest, which a JVM without the module java.compiler can load. */
    private static final class Javac {
        private static final String JAVA = System.getProperty("java.specification.version");

        private final JavaCompiler compiler = ToolProvider.getSystemJavaCompiler();
        private final boolean modern = // not that of Java 8
                compiler != null && compiler.isSupportedOption("--release") == 1;
        private final File classes;
        private final List<File> classPath;
        private final List<String> files;

        Javac(File classes, List<String> more, List<String> files) {
            this.classes = classes;
            this.files = files;
            String[] host = System.getProperty("java.class.path").split(File.pathSeparator);
            classPath = Stream.concat(Stream.of(host), more.stream()).map(File::new)
                    .collect(Collectors.toList());
        }

        String compile(String release) throws IOException {
            if (compiler == null) {
                return noCompiler();
            }
            int oldest = Math.max(OLDEST, Collections.min(compiler.getSourceVersions()).ordinal());
            String version = release.isEmpty() ? String.valueOf(oldest) : release;
            StringWriter said = new StringWriter();
            try {
                boolean done = run(version, said, null);
                print(said.toString());
                return done ? "" : "the model does not compile for Java " + version
                        + hints(version, said.toString(), release.isEmpty());
            } catch (IllegalArgumentException e) {
                return "--release " + version + ": " + Reason.of(e);
            }
        }

        /** What the author may not see in the compiler's messages: compiles once more to find out. */
        private String hints(String version, String said, boolean mayBeNewer) throws IOException {
            boolean newer = mayBeNewer && modern && !version.equals(JAVA);
            DiagnosticCollector<JavaFileObject> found = new DiagnosticCollector<>();
            boolean done = run(newer ? JAVA : version, null, found);
            String hint = "";
            if (newer && done) {
                hint = "; it does for Java " + JAVA + ", so say --release " + JAVA;
            } else if (newer && said.contains("(use -source ")) {
                hint = "; for what it needs of a newer one, say --release " + JAVA;
            }
            for (Diagnostic<? extends JavaFileObject> fault : found.getDiagnostics()) {
                if (fault.getCode().startsWith("compiler.err.cant.resolve") && isOurs(fault)) {
                    return hint + "; " + fault.getSource().getName() + " lacks the line import "
                            + ModelCompiler.class.getPackage().getName() + ".*;";
                }
            }
            return hint;
        }

        /** Whether the word that the compiler does not know is a public class of this package. */
        private static boolean isOurs(Diagnostic<? extends JavaFileObject> fault) throws IOException {
            try {
                String word = fault.getSource().getCharContent(true).subSequence(
                        (int) fault.getStartPosition(), (int) fault.getEndPosition()).toString();
                return Modifier.isPublic(Class.forName(
                        ModelCompiler.class.getPackage().getName() + "." + word).getModifiers());
            } catch (ClassNotFoundException | NoClassDefFoundError e) {
                // The latter if there is one whose name differs in upper and lower case.
                return false;
            }
        }

        /** @param listener gets the messages instead of {@code said} unless it is null */
        private boolean run(String version, Writer said,
                DiagnosticListener<JavaFileObject> listener) throws IOException {
            List<String> options = new ArrayList<>(modern
                    ? Arrays.asList("--release", version)
                    : Arrays.asList("-source", version, "-target", version));
            // No word about old versions of Java, no code that libraries bring for compilers, and all
            // that debuggers show.
            options.addAll(Arrays.asList("-Xlint:-options", "-proc:none", "-implicit:none", "-g"));
            try (StandardJavaFileManager manager =
                    compiler.getStandardFileManager(listener, null, StandardCharsets.UTF_8)) {
                manager.setLocation(StandardLocation.CLASS_PATH, classPath);
                manager.setLocation(StandardLocation.SOURCE_PATH, Collections.emptyList());
                manager.setLocation(StandardLocation.CLASS_OUTPUT, Collections.singleton(classes));
                return compiler.getTask(said, manager, listener, options, null,
                        manager.getJavaFileObjectsFromStrings(files)).call();
            }
        }
    }
}
