import com.zelvox.qorbetta.Model;
import com.zelvox.qorbetta.ModelDescription;
import java.io.InputStream;
import java.lang.ref.WeakReference;

/**
 * The model of the units in UnitsTest, which changes the number in its texts: its outputs tell the
 * numbers of its class, of another class, of a resource, and how many runs the class has seen.
 */
public class Answer implements Model {
    private static final String TEXT = "number 1";
    private static int runs;

    public Answer() {
        UnitsTest.loaders.add(new WeakReference<>(getClass().getClassLoader()));
    }

    static double number(String text) {
        return text.charAt(text.length() - 1) - '0';
    }

    @Override
    public ModelDescription describe() {
        if (number(TEXT) == 9) {
            throw new IllegalStateException("nine");
        }
        return ModelDescription.named("Answer").output("class", "", "").output("other", "", "")
                .output("resource", "", "").output("runs", "", "").build();
    }

    @Override
    public void initialize(double[] inputs, double[] outputs) {
        runs++;
    }

    @Override
    public void step(double time, double stepSize, double[] inputs, double[] outputs)
            throws Exception {
        outputs[0] = number(TEXT);
        outputs[1] = Other.number();
        try (InputStream text = getClass().getResourceAsStream("number.txt")) {
            outputs[2] = text.read() - '0';
        }
        outputs[3] = runs;
    }
}

class Other {
    static double number() {
        return Answer.number("number 1");
    }
}
